// Inverse, solution and determinant by Gauss-Jordan elimination, Cholesky's factor; for any size, inside in double.
#pragma once

#include <cfloat>
#include <cmath>
#include <utility>

#include "fixed_vector.h"
#include "math_matrix.h"

namespace fixed {

// A matrix whose inverse, rows and columns brought to size 1, has a larger element than this counts as singular.
// Rounding in double leaves at least 2^44 of a matrix that is singular.
constexpr fp64 kSingular = 0x1p40;

// The working rows of an elimination: the matrix, the identity that turns into its inverse, and K right-hand sides.
template <size_t N, size_t K>
struct augmented {
    static constexpr size_t kWidth = 2 * N + K;

    fp64 row[N][kWidth] = {};
    fp64 row_size[N];     // what each row was divided by
    fp64 column_size[N];  // largest element of each column after that
    fp64 determinant = 1.0;

    fp64* inverse(size_t i) { return row[i] + N; }
    fp64& solution(size_t i) { return row[i][2 * N]; }

    // Loads the matrix and the identity, each row divided by its size. False for a row of zeros, infinity or NaN.
    bool load(const fp32* a)
    {
        set_zero<N>(column_size);
        for (size_t i = 0; i < N; ++i) {
            row_size[i] = 0.0;
            for (size_t j = 0; j < N; ++j)
                row_size[i] += std::fabs(static_cast<fp64>(a[i * N + j]));
            if (!(row_size[i] > 0.0 && row_size[i] <= DBL_MAX)) return false;
            const fp64 factor = 1.0 / row_size[i];
            for (size_t j = 0; j < N; ++j) {
                row[i][j] = a[i * N + j] * factor;
                column_size[j] = std::fmax(column_size[j], std::fabs(row[i][j]));
            }
            row[i][N + i] = factor;
        }
        return true;
    }

    bool bring_up_pivot(size_t k)
    {
        size_t pivot = k;
        for (size_t i = k + 1; i < N; ++i) {
            if (std::fabs(row[i][k]) > std::fabs(row[pivot][k])) pivot = i;
        }
        if (pivot != k) {
            for (size_t j = 0; j < kWidth; ++j)
                std::swap(row[pivot][j], row[k][j]);
            determinant = -determinant;
        }
        return row[k][k] != 0.0;
    }

    bool eliminate()
    {
        for (size_t k = 0; k < N; ++k) {
            if (!bring_up_pivot(k)) return false;
            determinant *= row[k][k] * row_size[k];
            scale<kWidth>(row[k], 1.0 / row[k][k]);
            for (size_t i = 0; i < N; ++i) {
                if (i == k) continue;
                const fp64 factor = row[i][k];
                for (size_t j = 0; j < kWidth; ++j)
                    row[i][j] -= factor * row[k][j];
            }
        }
        return is_regular();
    }

    // The norm of the inverse is one over the distance to the next singular matrix. Measuring it at the end finds what
    // the pivots alone can hide. The sizes are put back first, so that units do not count. NaN is not regular.
    bool is_regular()
    {
        for (size_t i = 0; i < N; ++i) {
            for (size_t j = 0; j < N; ++j) {
                if (!(std::fabs(inverse(i)[j]) * column_size[i] * row_size[j] <= kSingular)) return false;
            }
        }
        return true;
    }
};

inline bool fits_float(fp64 x)
{
    return std::fabs(x) <= FLT_MAX;
}

template <size_t N>
inline fp32 determinant(const fp32* m)
{
    augmented<N, 0> work;
    return work.load(m) && work.eliminate() ? static_cast<fp32>(work.determinant) : 0.0f;
}

template <size_t N>
inline int inverse_by_elimination(fp32* out, const fp32* a)
{
    augmented<N, 0> work;
    if (!work.load(a) || !work.eliminate()) return MATH_SINGULAR;
    bool fits = true;
    for (size_t i = 0; i < N; ++i) {
        for (size_t j = 0; j < N; ++j)
            fits = fits && fits_float(work.inverse(i)[j]);
    }
    if (!fits) return MATH_SINGULAR;
    for (size_t i = 0; i < N; ++i) {
        for (size_t j = 0; j < N; ++j)
            out[i * N + j] = static_cast<fp32>(work.inverse(i)[j]);
    }
    return 0;
}

// The inverse is carried along although only the solution is wanted: it is what tells that the matrix is singular.
template <size_t N>
inline int solve(fp32* x, const fp32* a, const fp32* b)
{
    augmented<N, 1> work;
    if (!work.load(a)) return MATH_SINGULAR;
    for (size_t i = 0; i < N; ++i)
        work.solution(i) = b[i] / work.row_size[i];
    if (!work.eliminate()) return MATH_SINGULAR;
    for (size_t i = 0; i < N; ++i) {
        if (!fits_float(work.solution(i))) return MATH_SINGULAR;
    }
    for (size_t i = 0; i < N; ++i)
        x[i] = static_cast<fp32>(work.solution(i));
    return 0;
}

// The diagonal of the inverse of factor * transpose(factor), each element in units of the matrix's own: the same
// measure as in is_regular.
template <size_t N>
inline bool is_positive_definite(const fp64 (&factor)[N][N], const fp32* a)
{
    for (size_t column = 0; column < N; ++column) {
        fp64 diagonal = 0.0;
        fp64 x[N] = {};  // this column of the factor's inverse
        for (size_t i = column; i < N; ++i) {
            const fp64 unit = i == column ? 1.0 : 0.0;
            x[i] = (unit - dot_product<N>(factor[i], x)) / factor[i][i];
            diagonal += x[i] * x[i];
        }
        if (!(diagonal * a[column * N + column] <= kSingular)) return false;
    }
    return true;
}

template <size_t N>
inline int cholesky(fp32* out, const fp32* a)
{
    fp64 factor[N][N] = {};
    for (size_t i = 0; i < N; ++i) {
        for (size_t j = 0; j <= i; ++j) {
            const fp64 rest = a[i * N + j] - dot_product<N>(factor[i], factor[j]);
            if (i == j && !(rest > 0.0 && rest <= FLT_MAX)) return MATH_SINGULAR;
            factor[i][j] = i == j ? std::sqrt(rest) : rest / factor[j][j];
        }
    }
    if (!is_positive_definite(factor, a)) return MATH_SINGULAR;
    for (size_t i = 0; i < N * N; ++i)
        out[i] = static_cast<fp32>(factor[i / N][i % N]);
    return 0;
}

}  // namespace fixed
