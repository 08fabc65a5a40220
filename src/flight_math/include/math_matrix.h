// Fixed-size square float matrices, matrix2f to matrix9f, stored row by row: element (row, column) of an N x N matrix
// stands at [row * N + column].
//
// One family, the same operations for every size. `matrixNf` stands for each of matrix2f to matrix9f:
//
//   void matrixNf_copy(dst, src)             dst = src
//   void matrixNf_set_zero(m)                m = 0
//   void matrixNf_set_identity(m)            m = I
//   void matrixNf_add(out, a, b)             out = a + b
//   void matrixNf_sub(out, a, b)             out = a - b
//   void matrixNf_scale(m, s)                m *= s, in place
//   void matrixNf_multiply(out, a, b)        out = a b; each element is summed from the left
//   void matrixNf_multiply_vec(out, m, v)    vector out = m v, summed from the left
//   void matrixNf_transpose(out, a)          out = transpose of a
//   fp32 matrixNf_trace(m)                   sum of the diagonal
//   fp32 matrixNf_determinant(m)             determinant; 0 if m is singular, infinity beyond the float range
//   int  matrixNf_inverse(out, a)            out = inverse of a; MATH_SINGULAR
//   int  matrixNf_solve(x, a, b)             x with a x = b; MATH_SINGULAR
//   int  matrixNf_cholesky(out, a)           lower triangular out with out * transpose(out) = a; MATH_SINGULAR
//
// The last three return 0, or MATH_SINGULAR with the output untouched.
//
// Aliasing: `out` and `x` may be any of the inputs.
//
// Singular means: the matrix, its rows and columns first brought to size 1 (so that their units do not matter), is
// closer than about 2^-40 to one without an inverse; or it holds infinities or NaN; or the result does not fit into
// floats. A matrix that is singular to the last bit is always found, one of condition up to 1e10 is always inverted.
//
// Accuracy: solve, determinant and Cholesky are computed in double and rounded once. So is the inverse from N = 5 on
// and, for smaller matrices, where the condition needs it; otherwise those are inverted by cofactors in float, within
// 5e-5 of the largest element of the row. docs/math.md has the measured errors.
//
// Cholesky reads the lower triangle of `a` only and writes zeros above the diagonal. Its singular ones are those that
// are not positive definite, or only just, by the same measure.
//
// Sources: Golub and Van Loan, "Matrix Computations": Gauss-Jordan elimination with partial pivoting, Cholesky;
// cofactors by Laplace's expansion.
#pragma once

#include "math_vector.h"

#ifdef __cplusplus
extern "C" {
#endif

// What inverse, solve and other functions return, instead of 0, when there is no answer.
enum { MATH_SINGULAR = -1 };

typedef fp32 matrix2f[2 * 2];
typedef fp32 matrix3f[3 * 3];
typedef fp32 matrix4f[4 * 4];
typedef fp32 matrix5f[5 * 5];
typedef fp32 matrix6f[6 * 6];
typedef fp32 matrix7f[7 * 7];
typedef fp32 matrix8f[8 * 8];
typedef fp32 matrix9f[9 * 9];

// Declares the family for one matrix type and the vector type of its size.
#define MATRIX_FAMILY(matrix, vec)                                      \
    void matrix##_copy(matrix dst, const matrix src);                   \
    void matrix##_set_zero(matrix m);                                   \
    void matrix##_set_identity(matrix m);                               \
    void matrix##_add(matrix out, const matrix a, const matrix b);      \
    void matrix##_sub(matrix out, const matrix a, const matrix b);      \
    void matrix##_scale(matrix m, fp32 s);                              \
    void matrix##_multiply(matrix out, const matrix a, const matrix b); \
    void matrix##_multiply_vec(vec out, const matrix m, const vec v);   \
    void matrix##_transpose(matrix out, const matrix a);                \
    fp32 matrix##_trace(const matrix m);                                \
    fp32 matrix##_determinant(const matrix m);                          \
    int matrix##_inverse(matrix out, const matrix a);                   \
    int matrix##_solve(vec x, const matrix a, const vec b);             \
    int matrix##_cholesky(matrix out, const matrix a);

MATRIX_FAMILY(matrix2f, vec2f)
MATRIX_FAMILY(matrix3f, vec3f)
MATRIX_FAMILY(matrix4f, vec4f)
MATRIX_FAMILY(matrix5f, vec5f)
MATRIX_FAMILY(matrix6f, vec6f)
MATRIX_FAMILY(matrix7f, vec7f)
MATRIX_FAMILY(matrix8f, vec8f)
MATRIX_FAMILY(matrix9f, vec9f)

#undef MATRIX_FAMILY

#ifdef __cplusplus
}
#endif
