#include "math_matrix.h"

#include "cofactors.h"
#include "elimination.h"
#include "families.h"
#include "fixed_matrix.h"

namespace {

template <size_t N>
int inverse(fp32* out, const fp32* a)
{
    if constexpr (N <= 4) {
        if (fixed::inverse_by_cofactors<N>(out, a)) return 0;
    }
    return fixed::inverse_by_elimination<N>(out, a);
}

}  // namespace

// clang-format off
#define MATRIX_FAMILY(matrix, vec, n)                                                                       \
    ELEMENTWISE_FAMILY(matrix, fp32, (n) * (n))                                                             \
    void matrix##_set_identity(matrix m) { fixed::set_identity<n>(m); }                                     \
    void matrix##_multiply(matrix out, const matrix a, const matrix b) { fixed::multiply<n>(out, a, b); }   \
    void matrix##_multiply_vec(vec out, const matrix m, const vec v) { fixed::multiply_vec<n>(out, m, v); } \
    void matrix##_transpose(matrix out, const matrix a) { fixed::transpose<n>(out, a); }                    \
    fp32 matrix##_trace(const matrix m) { return fixed::trace<n>(m); }                                      \
    fp32 matrix##_determinant(const matrix m) { return fixed::determinant<n>(m); }                          \
    int matrix##_inverse(matrix out, const matrix a) { return inverse<n>(out, a); }                         \
    int matrix##_solve(vec x, const matrix a, const vec b) { return fixed::solve<n>(x, a, b); }             \
    int matrix##_cholesky(matrix out, const matrix a) { return fixed::cholesky<n>(out, a); }
// clang-format on

#define FLOAT_MATRIX_FAMILY(n) MATRIX_FAMILY(matrix##n##f, vec##n##f, n)
FOR_EACH_SIZE(FLOAT_MATRIX_FAMILY)
