// The one implementation of every vector operation, for any size and element type. Results are gathered in a local
// array and stored last: outputs may then be inputs, and the compiler can use vector registers without proving the
// contrary.
#pragma once

#include <cmath>
#include <cstddef>

#include "math_basic.h"

#ifdef __FAST_MATH__
#error "This library promises the same bits on every build; -ffast-math breaks that."
#endif

namespace fixed {

template <size_t N, typename T>
inline void copy(T* dst, const T* src)
{
    T result[N];
    for (size_t i = 0; i < N; ++i)
        result[i] = src[i];
    for (size_t i = 0; i < N; ++i)
        dst[i] = result[i];
}

template <size_t N, typename T>
inline void set_zero(T* v)
{
    for (size_t i = 0; i < N; ++i)
        v[i] = 0;
}

template <size_t N, typename T>
inline void add(T* out, const T* a, const T* b)
{
    T result[N];
    for (size_t i = 0; i < N; ++i)
        result[i] = a[i] + b[i];
    copy<N>(out, result);
}

template <size_t N, typename T>
inline void sub(T* out, const T* a, const T* b)
{
    T result[N];
    for (size_t i = 0; i < N; ++i)
        result[i] = a[i] - b[i];
    copy<N>(out, result);
}

template <size_t N, typename T>
inline void scale(T* v, T s)
{
    for (size_t i = 0; i < N; ++i)
        v[i] *= s;
}

template <size_t N, typename T>
inline void lerp(T* out, const T* a, const T* b, T t)
{
    T result[N];
    for (size_t i = 0; i < N; ++i)
        result[i] = a[i] + t * (b[i] - a[i]);
    copy<N>(out, result);
}

template <size_t N, typename T>
inline T dot_product(const T* a, const T* b)
{
    T sum = a[0] * b[0];
    for (size_t i = 1; i < N; ++i)
        sum += a[i] * b[i];
    return sum;
}

template <size_t N, typename T>
inline T norm(const T* v)
{
    return std::sqrt(dot_product<N>(v, v));
}

inline fp32 inv_sqrt(fp32 x)
{
    return float_inv_sqrt(x);
}

// No estimate for doubles: only zero itself, which has no inverse, stands apart.
inline fp64 inv_sqrt(fp64 x)
{
    return x > 0.0 ? 1.0 / std::sqrt(x) : 0.0;
}

template <size_t N, typename T>
inline T inv_norm(const T* v)
{
    return inv_sqrt(dot_product<N>(v, v));
}

template <size_t N, typename T>
inline void normalize(T* v)
{
    scale<N>(v, inv_norm<N>(v));
}

template <size_t N, typename T>
inline void constrain_norm(T* v, T max)
{
    const T length = norm<N>(v);
    if (length > max) scale<N>(v, max / length);
}

template <size_t N, typename T>
inline T cosine_between(const T* a, const T* b)
{
    return dot_product<N>(a, b) * inv_norm<N>(a) * inv_norm<N>(b);
}

template <typename T>
inline void cross_product(T* out, const T* a, const T* b)
{
    const T result[3] = {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
    copy<3>(out, result);
}

}  // namespace fixed
