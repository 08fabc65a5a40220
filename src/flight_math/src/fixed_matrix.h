// The one implementation of the matrix operations that need no elimination, for any size. The matrices are square, row
// by row; sums, differences and scaling are those of a vector of N * N elements (fixed_vector.h).
#pragma once

#include "fixed_vector.h"

namespace fixed {

template <size_t N>
inline void set_identity(fp32* m)
{
    set_zero<N * N>(m);
    for (size_t i = 0; i < N; ++i)
        m[i * N + i] = 1.0f;
}

// Works on whole vector registers of four floats: the rows of `b` and of the result are padded to a multiple of that.
template <size_t N>
inline void multiply(fp32* out, const fp32* a, const fp32* b)
{
    constexpr size_t kPadded = (N + 3) / 4 * 4;
    fp32 factor[N][kPadded] = {};
    for (size_t i = 0; i < N; ++i)
        copy<N>(factor[i], b + i * N);

    fp32 result[N][kPadded];
    for (size_t i = 0; i < N; ++i) {
        fp32 row[kPadded];
        for (size_t j = 0; j < kPadded; ++j)
            row[j] = a[i * N] * factor[0][j];
        for (size_t k = 1; k < N; ++k) {
            for (size_t j = 0; j < kPadded; ++j)
                row[j] += a[i * N + k] * factor[k][j];
        }
        copy<kPadded>(result[i], row);
    }
    for (size_t i = 0; i < N; ++i)
        copy<N>(out + i * N, result[i]);
}

template <size_t N>
inline void multiply_vec(fp32* out, const fp32* m, const fp32* v)
{
    fp32 result[N];
    for (size_t i = 0; i < N; ++i)
        result[i] = dot_product<N>(m + i * N, v);
    copy<N>(out, result);
}

// out = transpose of m, times v.
template <size_t N>
inline void multiply_vec_transposed(fp32* out, const fp32* m, const fp32* v)
{
    fp32 result[N];
    for (size_t j = 0; j < N; ++j) {
        result[j] = m[j] * v[0];
        for (size_t i = 1; i < N; ++i)
            result[j] += m[i * N + j] * v[i];
    }
    copy<N>(out, result);
}

template <size_t N>
inline void transpose(fp32* out, const fp32* a)
{
    fp32 result[N * N];
    for (size_t i = 0; i < N; ++i) {
        for (size_t j = 0; j < N; ++j)
            result[j * N + i] = a[i * N + j];
    }
    copy<N * N>(out, result);
}

template <size_t N>
inline fp32 trace(const fp32* m)
{
    fp32 sum = m[0];
    for (size_t i = 1; i < N; ++i)
        sum += m[i * N + i];
    return sum;
}

}  // namespace fixed
