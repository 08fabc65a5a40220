// The vector family, every size and both element types, against Eigen in the next wider type.
#include "math_vector.h"

#include <Eigen/Core>
#include <utility>

#include "accuracy.h"

namespace {

using math_test::expect_accuracy;
using math_test::source;

// set_value with its N elements in an array.
template <auto Set, size_t N, typename T>
void set_from(T* v, const T* elements)
{
    [&]<size_t... I>(std::index_sequence<I...>)
    {
        Set(v, elements[I]...);
    }
    (std::make_index_sequence<N>());
}

// The functions of one member of the family.
template <typename T>
struct family_member {
    int n;
    void (*set_value)(T*, const T*);
    void (*copy)(T*, const T*);
    void (*set_zero)(T*);
    void (*add)(T*, const T*, const T*);
    void (*sub)(T*, const T*, const T*);
    void (*scale)(T*, T);
    T (*dot_product)(const T*, const T*);
    T (*norm)(const T*);
    T (*inv_norm)(const T*);
    void (*normalize)(T*);
    void (*constrain_norm)(T*, T);
    void (*lerp)(T*, const T*, const T*, T);
    T (*cosine)(const T*, const T*);
};

using fp32_member = family_member<fp32>;
using fp64_member = family_member<fp64>;
#define MEMBER(v, n, T)                                                                                                \
    T##_member                                                                                                         \
    {                                                                                                                  \
        n, set_from<v##_set_value, n>, v##_copy, v##_set_zero, v##_add, v##_sub, v##_scale, v##_dot_product, v##_norm, \
            v##_inv_norm, v##_normalize, v##_constrain_norm, v##_lerp, cosine_between_##v                              \
    }

template <typename Check>
void for_every_member(Check check)
{
    for (const auto& member :
         {MEMBER(vec2f, 2, fp32), MEMBER(vec3f, 3, fp32), MEMBER(vec4f, 4, fp32), MEMBER(vec5f, 5, fp32),
          MEMBER(vec6f, 6, fp32), MEMBER(vec7f, 7, fp32), MEMBER(vec8f, 8, fp32), MEMBER(vec9f, 9, fp32)}) {
        SCOPED_TRACE("vec" + std::to_string(member.n) + "f");
        check(member, 0.0);
    }
    for (const auto& member : {MEMBER(vec2, 2, fp64), MEMBER(vec3, 3, fp64)}) {
        SCOPED_TRACE("vec" + std::to_string(member.n));
        check(member, 0.0L);
    }
}

// Sizes are known at run time only: one instance of Eigen's templates serves all.
template <typename T>
using vector = Eigen::VectorX<T>;

template <typename T>
vector<T> random(const family_member<T>& m, source& inputs)
{
    return vector<T>::NullaryExpr(m.n, [&] { return inputs.element(); });
}

// Over an input, too, and no element behind the last is touched.
TEST(Vectors, ElementsAreRoundedOnce)
{
    for_every_member([]<typename T, typename W>(const family_member<T>& m, W) {
        expect_accuracy("set_value, copy, add, sub, scale, lerp", 0.0, [&m](source& inputs) {
            const vector<T> a = random(m, inputs), b = random(m, inputs);
            const T t = inputs.element();
            const auto changes = [&m](const vector<T>& from, const vector<T>& into, const auto& operation) {
                vector<T> room = vector<T>::Constant(9, T{7}), wanted = room;
                room.head(m.n) = from;
                wanted.head(m.n) = into;
                operation(room.data());
                return room == wanted;
            };
            const bool right = changes(b, a, [&](T* v) { m.set_value(v, a.data()); }) &&
                               changes(b, a, [&](T* v) { m.copy(v, a.data()); }) &&
                               changes(b, vector<T>::Zero(m.n), [&](T* v) { m.set_zero(v); }) &&
                               changes(a, a + b, [&](T* v) { m.add(v, v, b.data()); }) &&
                               changes(b, a - b, [&](T* v) { m.sub(v, a.data(), v); }) &&
                               changes(a, a * t, [&](T* v) { m.scale(v, t); }) &&
                               changes(b, a + t * (b - a), [&](T* v) { m.lerp(v, a.data(), v, t); }) &&
                               changes(a, a + t * (b - a), [&](T* v) { m.lerp(v, v, b.data(), t); });
            return right ? 0.0 : 1.0;
        });
    });
}

// In roundings. Shorter than 1e-8 the inverse is an estimate, see below.
TEST(Vectors, ProductsAndLengthsAreExactToAFewRoundings)
{
    for_every_member([]<typename T, typename W>(const family_member<T>& m, W) {
        const double n = m.n;
        expect_accuracy({{"dot_product", n},
                         {"norm", n / 2 + 1},
                         {"inv_norm", n / 2 + 3},
                         {"normalize", n / 2 + 4},
                         {"constrain_norm", n / 2 + 4},
                         {"cosine_between", 2 * n + 6}},
                        [&m](source& inputs) -> std::array<double, 6> {
                            const vector<T> a = random(m, inputs), b = random(m, inputs);
                            const vector<W> wide_a = a.template cast<W>(), wide_b = b.template cast<W>();
                            const W length = wide_a.norm(), other = wide_b.norm();
                            if (std::min(length, other) < 1e-8) return {};

                            const auto roundings = [](W error) {
                                return static_cast<double>(std::fabs(error)) / math_test::rounding<T>;
                            };
                            vector<T> unit = a, limited = a;
                            m.normalize(unit.data());
                            m.constrain_norm(limited.data(), T{0.5});
                            const W limit = std::min(length, W{0.5});
                            const W dot = wide_a.dot(wide_b), dot_size = wide_a.cwiseAbs().dot(wide_b.cwiseAbs());
                            const W dot_error = m.dot_product(a.data(), b.data()) - dot;
                            return {dot_error == 0 ? 0.0 : roundings(dot_error / dot_size),
                                    roundings(m.norm(a.data()) / length - 1),
                                    roundings(m.inv_norm(a.data()) * length - 1),
                                    roundings((unit.template cast<W>() - wide_a / length).norm()),
                                    roundings((limited.template cast<W>() - wide_a * (limit / length)).norm() / limit),
                                    roundings(m.cosine(a.data(), b.data()) - dot / (length * other))};
                        });
    });
}

TEST(Vectors, DegenerateLengthsAreAsTheHeaderSays)
{
    for_every_member([]<typename T, typename W>(const family_member<T>& m, W) {
        const bool single = sizeof(T) == 4;
        const vector<T> zero = vector<T>::Zero(m.n), one = vector<T>::Ones(m.n);
        EXPECT_EQ(m.norm(zero.data()), T{0});
        EXPECT_EQ(m.cosine(zero.data(), one.data()), T{0});
        vector<T> v = one;
        m.constrain_norm(v.data(), T{0});
        EXPECT_EQ(v, zero);
        m.normalize(v.data());
        m.constrain_norm(v.data(), T{0});
        EXPECT_EQ(v, zero);
        v.setConstant(static_cast<T>(1e-10)), m.normalize(v.data());
        EXPECT_NEAR(static_cast<double>(v.norm()), 1.0, single ? 0.0018 : 1e-12);
        v.setConstant(static_cast<T>(single ? 1e25 : 1e200)), m.normalize(v.data());
        EXPECT_EQ(v, zero);
    });
}

template <typename T, typename W>
void expect_cross_product_of(void (*cross)(T*, const T*, const T*))
{
    expect_accuracy("cross_product", 3.0, [cross](source& inputs) {
        T a[3], b[3], out[3];
        for (T& x : a)
            x = inputs.element();
        for (T& x : b)
            x = inputs.element();
        cross(out, a, b);
        double worst = 0.0;
        for (int i = 0; i < 3; ++i) {
            const W first = W{a[(i + 1) % 3]} * b[(i + 2) % 3], second = W{a[(i + 2) % 3]} * b[(i + 1) % 3];
            const W size = std::fabs(first) + std::fabs(second);
            if (size > 0) worst = std::max(worst, static_cast<double>(std::fabs(out[i] - (first - second)) / size));
        }
        cross(a, a, b);  // over an input
        return std::equal(a, a + 3, out) ? worst / math_test::rounding<T> : 1e9;
    });
}

TEST(CrossProduct, IsExactToAFewRoundingsAndMayOverwriteAnInput)
{
    expect_cross_product_of<fp32, double>(vec3f_cross_product);
    expect_cross_product_of<fp64, long double>(vec3_cross_product);
}

}  // namespace
