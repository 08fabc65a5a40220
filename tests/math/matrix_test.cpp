// The matrix family, every size, against Eigen in double.
#include "math_matrix.h"

#include <Eigen/Cholesky>
#include <Eigen/LU>

#include "accuracy.h"

namespace {

using math_test::expect_accuracy;
using math_test::source;

constexpr double u = math_test::rounding<float>;

// The functions of one member of the family.
struct family_member {
    int n;
    void (*copy)(float*, const float*);
    void (*set_zero)(float*);
    void (*set_identity)(float*);
    void (*add)(float*, const float*, const float*);
    void (*sub)(float*, const float*, const float*);
    void (*scale)(float*, float);
    void (*multiply)(float*, const float*, const float*);
    void (*multiply_vec)(float*, const float*, const float*);
    void (*transpose)(float*, const float*);
    float (*trace)(const float*);
    float (*determinant)(const float*);
    int (*inverse)(float*, const float*);
    int (*solve)(float*, const float*, const float*);
    int (*cholesky)(float*, const float*);
};

#define MEMBER(m, n)                                                                                              \
    family_member                                                                                                 \
    {                                                                                                             \
        n, m##_copy, m##_set_zero, m##_set_identity, m##_add, m##_sub, m##_scale, m##_multiply, m##_multiply_vec, \
            m##_transpose, m##_trace, m##_determinant, m##_inverse, m##_solve, m##_cholesky                       \
    }

// Sizes are known at run time only: one instance of Eigen's templates serves all.
using matrix = Eigen::Matrix<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
using exact = Eigen::MatrixXd;

// The largest power of two up to each element.
exact powers_of_two(const exact& sizes)
{
    return sizes.unaryExpr([](double x) { return x > 0 ? std::exp2(std::ilogb(x)) : 1.0; });
}

// Largest error, each over the largest element of its row; in roundings. `any_units`: the columns may have different
// units, too, and are brought to size 1 first.
double relative_error(const matrix& found, exact wanted, bool any_units)
{
    exact error = found.cast<double>() - wanted;
    for (int j = 0; j < wanted.cols() && any_units; ++j) {
        const double size = wanted.col(j).cwiseAbs().maxCoeff();
        wanted.col(j) /= size;
        error.col(j) /= size;
    }
    for (int i = 0; i < wanted.rows(); ++i)
        error.row(i) /= wanted.row(i).cwiseAbs().maxCoeff();
    return error.cwiseAbs().maxCoeff() / u;
}

// Errors of inverse, solution and determinant of `a`; infinite for a wrong refusal. What the condition of the matrix
// explains in double arithmetic, the library's and the oracle's, does not count. The oracle gets rows and columns in
// units that make them about 1 (powers of two: nothing is rounded).
std::array<double, 3> judge(const family_member& m, const matrix& a, const matrix& b)
{
    const double infinity = std::numeric_limits<double>::infinity();
    const exact wide = a.cast<double>();
    const exact rows = powers_of_two(wide.cwiseAbs().rowwise().maxCoeff()).cwiseInverse();
    const exact scaled_rows = rows.col(0).asDiagonal() * wide;
    const exact columns = powers_of_two(scaled_rows.cwiseAbs().colwise().maxCoeff().transpose()).cwiseInverse();
    const Eigen::PartialPivLU<exact> oracle(scaled_rows * columns.col(0).asDiagonal());
    const exact scaled_inverse = oracle.inverse();

    matrix inverse(m.n, m.n), x(m.n, 1);
    const bool inverted = m.inverse(inverse.data(), a.data()) == 0;
    const bool solved = m.solve(x.data(), a.data(), b.data()) == 0;
    const float determinant = m.determinant(a.data());
    const double condition = scaled_inverse.cwiseAbs().maxCoeff();
    if (!(condition <= 1e10) && !inverted && !solved && determinant == 0) return {0, 0, 0};
    if (!inverted || !solved) return {infinity, infinity, infinity};

    const double explained = condition * 4e-15 / u;
    const exact wanted = columns.col(0).asDiagonal() * scaled_inverse * rows.col(0).asDiagonal();
    const exact wanted_x = columns.cwiseProduct(exact(oracle.solve(rows.cwiseProduct(b.cast<double>()))));
    const double x_size = std::max(wanted_x.cwiseAbs().maxCoeff(), std::numeric_limits<double>::min());
    const double x_error = (x.cast<double>() - wanted_x).cwiseAbs().maxCoeff();
    const double wanted_determinant = oracle.determinant() / rows.prod() / columns.prod();
    return {relative_error(inverse, wanted, m.n > 4) - explained, x_error / x_size / u - explained,
            std::fabs(determinant / wanted_determinant - 1) / u - explained};
}

class Matrices : public testing::TestWithParam<family_member> {
protected:
    const family_member& m = GetParam();
    const int n = GetParam().n;

    matrix blank() const { return matrix::Constant(n, n, 7.0f); }
    matrix random(source& inputs, int columns) const
    {
        return matrix::NullaryExpr(n, columns, [&] { return inputs.element(); });
    }
    matrix random(source& inputs) const { return random(inputs, n); }
    matrix integers(source& inputs, int largest) const
    {
        return matrix::NullaryExpr(n, n, [&] { return static_cast<float>(inputs.integer(-largest, largest)); });
    }

    // Small integers, one row a combination of the others; then rows and columns get units of their own, powers of two:
    // singular to the last bit.
    matrix singular(source& inputs) const
    {
        matrix a = integers(inputs, 9);
        const int victim = inputs.integer(0, n - 1);
        a.row(victim).setZero();
        for (int i = 0; i < n; ++i) {
            if (i != victim) a.row(victim) += static_cast<float>(inputs.integer(-2, 2)) * a.row(i);
        }
        for (int i = 0; i < n; ++i) {
            a.row(i) *= std::ldexp(1.0f, inputs.integer(-40 / n, 40 / n));
            a.col(i) *= std::ldexp(1.0f, inputs.integer(-40 / n, 40 / n));
        }
        return a;
    }

    // Singular but for a part in 10 to 10^6 in every element.
    matrix nearly_singular(source& inputs) const
    {
        const double size = std::pow(10.0, inputs.between(-6.0, -1.0));
        return singular(inputs).unaryExpr([&](float x) { return x * inputs.between(1.0 - size, 1.0 + size); });
    }
};

TEST_P(Matrices, ElementsAreRoundedOnceAndProductsOncePerTerm)
{
    const double per_term = n;
    expect_accuracy(
        {{"add, sub, scale, transpose", 0.0}, {"multiply", per_term}, {"multiply_vec", 0.0}, {"trace", per_term}},
        [this](source& inputs) {
            const matrix a = random(inputs), b = random(inputs), first = b.col(0);
            const float s = inputs.element();
            matrix sum(n, n), difference(n, n), multiple(n, n), turned(n, n), product(n, n), image(n, 1);
            m.add(sum.data(), a.data(), b.data());
            m.sub(difference.data(), a.data(), b.data());
            m.copy(multiple.data(), a.data());
            m.scale(multiple.data(), s);
            m.transpose(turned.data(), a.data());
            m.multiply(product.data(), a.data(), b.data());
            m.multiply_vec(image.data(), a.data(), first.data());
            const bool same = sum == a + b && difference == a - b && multiple == a * s && turned == a.transpose();

            const exact wide_a = a.cast<double>(), wide_b = b.cast<double>();
            const auto sizes = (wide_a.cwiseAbs().lazyProduct(wide_b.cwiseAbs())).array() + 1e-300;
            const auto errors = (product.cast<double>() - wide_a.lazyProduct(wide_b)).array().abs();
            const double trace_error = std::fabs(m.trace(a.data()) - wide_a.trace());
            return std::array{same ? 0.0 : 1.0, (errors / sizes).maxCoeff() / u,
                              image == product.col(0) ? 0.0 : 1.0,  // the same sums in the same order
                              trace_error / (wide_a.cwiseAbs().trace() + 1e-300) / u};
        });
}

TEST_P(Matrices, InverseSolutionAndDeterminantAreAccurateInAnyUnits)
{
    expect_accuracy({{"inverse", n <= 4 ? 5e-5 / u : 1.01}, {"solve", 1.01}, {"determinant", 1.01}},
                    [this](source& inputs) {
                        const matrix b = random(inputs, 1);
                        if (inputs.degenerate()) return judge(m, nearly_singular(inputs), b);
                        return judge(m, random(inputs) * std::ldexp(1.0f, inputs.integer(-60 / n, 60 / n)), b);
                    });
}

TEST_P(Matrices, SingularOnesAreFoundAndTheOutputStays)
{
    source inputs(true);
    for (int i = 0; i < math_test::degenerate_cases; ++i) {
        matrix a = singular(inputs), root = integers(inputs, 3);
        root.col(inputs.integer(0, n - 1)).setZero();
        matrix semidefinite = root.lazyProduct(root.transpose());
        if (i % 100 == 0) {
            a(inputs.integer(0, n - 1), inputs.integer(0, n - 1)) = i % 200 == 0 ? NAN : INFINITY;
            semidefinite(n - 1, 0) = i % 200 == 0 ? NAN : INFINITY;
        }
        matrix out = blank();
        ASSERT_EQ(m.inverse(out.data(), a.data()), MATH_SINGULAR) << "case " << i << "\n" << a;
        ASSERT_EQ(m.solve(out.data(), a.data(), out.data()), MATH_SINGULAR) << "case " << i << "\n" << a;
        ASSERT_EQ(m.determinant(a.data()), 0.0f) << "case " << i << "\n" << a;
        ASSERT_EQ(m.cholesky(out.data(), semidefinite.data()), MATH_SINGULAR) << "case " << i << "\n" << semidefinite;
        ASSERT_EQ(out, blank());
    }
}

TEST_P(Matrices, SizeAloneIsNoReasonToRefuse)
{
    for (const float size : {1e-37f, 1e-12f, 1e12f, 1e37f}) {
        matrix a = matrix::Identity(n, n) * size;
        a(0, 0) = 1.0f;
        matrix out = blank();
        EXPECT_EQ(m.inverse(out.data(), a.data()), 0);
        EXPECT_FLOAT_EQ(out(1, 1), 1.0f / size);
    }
    const matrix unanswerable = matrix::Identity(n, n) * 1e-39f;  // its inverse is beyond the floats
    matrix out = blank();
    EXPECT_EQ(m.inverse(out.data(), unanswerable.data()), MATH_SINGULAR);
    EXPECT_EQ(out, blank());
    EXPECT_EQ(m.cholesky(out.data(), unanswerable.data()), 0);
}

TEST_P(Matrices, CholeskyFactorIsRoundedOnce)
{
    expect_accuracy("cholesky", 1.01, [this](source& inputs) {
        const matrix root = random(inputs);
        matrix a = root.lazyProduct(root.transpose());
        a.diagonal().array() += std::ldexp(1.0f, inputs.integer(-12, 0));
        const exact wide = a.cast<double>();
        const exact wanted = wide.llt().matrixL();
        a.triangularView<Eigen::StrictlyUpper>().setConstant(NAN);  // not to be read
        matrix factor(n, n);
        if (m.cholesky(factor.data(), a.data()) != 0) return 1e9;
        const auto sizes = wide.diagonal().cwiseSqrt().eval();
        return (sizes.asDiagonal().inverse() * (factor.cast<double>() - wanted)).cwiseAbs().maxCoeff() / u;
    });
}

TEST_P(Matrices, OutputMayBeAnInput)
{
    source inputs(false);
    const matrix a = random(inputs), b = random(inputs), square = a.lazyProduct(a.transpose());
    const auto expect_same = [](const matrix& in, const auto& function) {
        matrix apart = in, same = in;
        function(apart.data(), in.data());
        function(same.data(), same.data());
        EXPECT_EQ(same, apart);
        EXPECT_NE(same, in);
    };
    expect_same(a, [&](float* out, const float* in) { m.multiply(out, in, b.data()); });
    expect_same(b, [&](float* out, const float* in) { m.multiply(out, a.data(), in); });
    expect_same(b.col(0), [&](float* out, const float* in) { m.solve(out, a.data(), in); });
    expect_same(a, m.transpose);
    expect_same(a, m.inverse);
    expect_same(square, m.cholesky);
    matrix same = blank();
    m.set_identity(same.data());
    EXPECT_EQ(same, matrix::Identity(n, n));
    m.set_zero(same.data());
    EXPECT_EQ(same, matrix::Zero(n, n));
}

INSTANTIATE_TEST_SUITE_P(EverySize, Matrices,
                         testing::Values(MEMBER(matrix2f, 2), MEMBER(matrix3f, 3), MEMBER(matrix4f, 4),
                                         MEMBER(matrix5f, 5), MEMBER(matrix6f, 6), MEMBER(matrix7f, 7),
                                         MEMBER(matrix8f, 8), MEMBER(matrix9f, 9)),
                         [](const auto& one) { return "matrix" + std::to_string(one.param.n) + "f"; });

}  // namespace
