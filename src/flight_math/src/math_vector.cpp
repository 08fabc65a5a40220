#include "math_vector.h"

#include "families.h"

// clang-format off
#define VECTOR_FAMILY(vec, scalar, n)                                                              \
    ELEMENTWISE_FAMILY(vec, scalar, n)                                                             \
    scalar vec##_dot_product(const vec a, const vec b) { return fixed::dot_product<n>(a, b); }     \
    scalar vec##_norm(const vec v) { return fixed::norm<n>(v); }                                   \
    scalar vec##_inv_norm(const vec v) { return fixed::inv_norm<n>(v); }                           \
    void vec##_normalize(vec v) { fixed::normalize<n>(v); }                                        \
    void vec##_constrain_norm(vec v, scalar max) { fixed::constrain_norm<n>(v, max); }             \
    void vec##_lerp(vec out, const vec a, const vec b, scalar t) { fixed::lerp<n>(out, a, b, t); } \
    scalar cosine_between_##vec(const vec a, const vec b) { return fixed::cosine_between<n>(a, b); }
// clang-format on

#define FLOAT_VECTOR_FAMILY(n) VECTOR_FAMILY(vec##n##f, fp32, n)
FOR_EACH_SIZE(FLOAT_VECTOR_FAMILY)
VECTOR_FAMILY(vec2, fp64, 2)
VECTOR_FAMILY(vec3, fp64, 3)

namespace {

template <typename T, typename... Elements>
void set(T* v, Elements... elements)
{
    const T values[] = {elements...};
    fixed::copy<sizeof...(Elements)>(v, values);
}

}  // namespace

void vec2f_set_value(vec2f v, fp32 x, fp32 y)
{
    set(v, x, y);
}

void vec3f_set_value(vec3f v, fp32 x, fp32 y, fp32 z)
{
    set(v, x, y, z);
}

void vec4f_set_value(vec4f v, fp32 v0, fp32 v1, fp32 v2, fp32 v3)
{
    set(v, v0, v1, v2, v3);
}

void vec5f_set_value(vec5f v, fp32 v0, fp32 v1, fp32 v2, fp32 v3, fp32 v4)
{
    set(v, v0, v1, v2, v3, v4);
}

void vec6f_set_value(vec6f v, fp32 v0, fp32 v1, fp32 v2, fp32 v3, fp32 v4, fp32 v5)
{
    set(v, v0, v1, v2, v3, v4, v5);
}

void vec7f_set_value(vec7f v, fp32 v0, fp32 v1, fp32 v2, fp32 v3, fp32 v4, fp32 v5, fp32 v6)
{
    set(v, v0, v1, v2, v3, v4, v5, v6);
}

void vec8f_set_value(vec8f v, fp32 v0, fp32 v1, fp32 v2, fp32 v3, fp32 v4, fp32 v5, fp32 v6, fp32 v7)
{
    set(v, v0, v1, v2, v3, v4, v5, v6, v7);
}

void vec9f_set_value(vec9f v, fp32 v0, fp32 v1, fp32 v2, fp32 v3, fp32 v4, fp32 v5, fp32 v6, fp32 v7, fp32 v8)
{
    set(v, v0, v1, v2, v3, v4, v5, v6, v7, v8);
}

void vec2_set_value(vec2 v, fp64 x, fp64 y)
{
    set(v, x, y);
}

void vec3_set_value(vec3 v, fp64 x, fp64 y, fp64 z)
{
    set(v, x, y, z);
}

void vec3f_cross_product(vec3f out, const vec3f a, const vec3f b)
{
    fixed::cross_product(out, a, b);
}

void vec3_cross_product(vec3 out, const vec3 a, const vec3 b)
{
    fixed::cross_product(out, a, b);
}
