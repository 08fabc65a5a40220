// Fixed-size vectors: vec2f to vec9f (floats), vec2 and vec3 (doubles).
//
// One family, the same operations for every size. `vecNf` stands for each of vec2f to vec9f:
//
//   void vecNf_copy(dst, src)              dst = src
//   void vecNf_set_value(v, x, y, ...)     v = (x, y, ...), all N elements
//   void vecNf_set_zero(v)                 v = 0
//   void vecNf_add(out, a, b)              out = a + b
//   void vecNf_sub(out, a, b)              out = a - b
//   void vecNf_scale(v, s)                 v *= s, in place
//   fp32 vecNf_dot_product(a, b)           a0 b0 + a1 b1 + ..., added from the left
//   fp32 vecNf_norm(v)                     sqrt(v0^2 + v1^2 + ...)
//   fp32 vecNf_inv_norm(v)                 float_inv_sqrt(v0^2 + v1^2 + ...)
//   void vecNf_normalize(v)                v *= vecNf_inv_norm(v), in place
//   void vecNf_constrain_norm(v, max)      shortens v to the length `max` (>= 0) in place, if it is longer
//   void vecNf_lerp(out, a, b, t)          out = a + t (b - a); t is not limited to 0..1
//   fp32 cosine_between_vecNf(a, b)        dot_product(a, b) * inv_norm(a) * inv_norm(b)
//
// `vec2` and `vec3` have the same functions in double precision, the scalar arguments and results included.
//
// Aliasing: `out` may be `a` or `b`.
// Degenerate cases: the zero vector has norm 0 and stays zero when normalised or constrained; its cosine with anything
// is 0. Floats: where the norm is below 3.2e-9 the inverse norm is an estimate (within 0.18%). Squares are taken in the
// element type, so elements below about 1e-19 (doubles: 1e-154) count as less than they are, and a norm above 1.8e19
// (doubles: 1.3e154) is infinite and its inverse 0: such a vector becomes zero when it is normalised or constrained.
#pragma once

#include "math_basic.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef fp32 vec2f[2];
typedef fp32 vec3f[3];
typedef fp32 vec4f[4];
typedef fp32 vec5f[5];
typedef fp32 vec6f[6];
typedef fp32 vec7f[7];
typedef fp32 vec8f[8];
typedef fp32 vec9f[9];
typedef fp64 vec2[2];
typedef fp64 vec3[3];

// Declares the family for one vector type; the arguments behind `scalar` are the elements for set_value.
#define VECTOR_FAMILY(vec, scalar, ...)                           \
    void vec##_copy(vec dst, const vec src);                      \
    void vec##_set_value(vec v, __VA_ARGS__);                     \
    void vec##_set_zero(vec v);                                   \
    void vec##_add(vec out, const vec a, const vec b);            \
    void vec##_sub(vec out, const vec a, const vec b);            \
    void vec##_scale(vec v, scalar s);                            \
    scalar vec##_dot_product(const vec a, const vec b);           \
    scalar vec##_norm(const vec v);                               \
    scalar vec##_inv_norm(const vec v);                           \
    void vec##_normalize(vec v);                                  \
    void vec##_constrain_norm(vec v, scalar max);                 \
    void vec##_lerp(vec out, const vec a, const vec b, scalar t); \
    scalar cosine_between_##vec(const vec a, const vec b);

VECTOR_FAMILY(vec2f, fp32, fp32 x, fp32 y)
VECTOR_FAMILY(vec3f, fp32, fp32 x, fp32 y, fp32 z)
VECTOR_FAMILY(vec4f, fp32, fp32 v0, fp32 v1, fp32 v2, fp32 v3)
VECTOR_FAMILY(vec5f, fp32, fp32 v0, fp32 v1, fp32 v2, fp32 v3, fp32 v4)
VECTOR_FAMILY(vec6f, fp32, fp32 v0, fp32 v1, fp32 v2, fp32 v3, fp32 v4, fp32 v5)
VECTOR_FAMILY(vec7f, fp32, fp32 v0, fp32 v1, fp32 v2, fp32 v3, fp32 v4, fp32 v5, fp32 v6)
VECTOR_FAMILY(vec8f, fp32, fp32 v0, fp32 v1, fp32 v2, fp32 v3, fp32 v4, fp32 v5, fp32 v6, fp32 v7)
VECTOR_FAMILY(vec9f, fp32, fp32 v0, fp32 v1, fp32 v2, fp32 v3, fp32 v4, fp32 v5, fp32 v6, fp32 v7, fp32 v8)
VECTOR_FAMILY(vec2, fp64, fp64 x, fp64 y)
VECTOR_FAMILY(vec3, fp64, fp64 x, fp64 y, fp64 z)

#undef VECTOR_FAMILY

// out = a x b, right-handed; `out` may be `a` or `b`.
void vec3f_cross_product(vec3f out, const vec3f a, const vec3f b);
void vec3_cross_product(vec3 out, const vec3 a, const vec3 b);

#ifdef __cplusplus
}
#endif
