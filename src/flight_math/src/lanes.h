// Four floats in one vector register (a compiler extension that GCC and Clang share; SSE2 and NEON both have them).
#pragma once

#include <cstddef>
#include <cstring>

#include "math_basic.h"

namespace fixed {

typedef fp32 lanes __attribute__((vector_size(16)));
typedef int32_t lane_bits __attribute__((vector_size(16)));

// The first N elements; the rest is zero.
template <size_t N = 4>
inline lanes load(const fp32* p)
{
    lanes v = {};
    if constexpr (N == 4) {
        std::memcpy(&v, p, sizeof v);
    } else {
        for (size_t i = 0; i < N; ++i)
            v[i] = p[i];
    }
    return v;
}

template <size_t N = 4>
inline void store(fp32* p, lanes v)
{
    std::memcpy(p, &v, N * sizeof(fp32));
}

inline lanes abs(lanes v)
{
    return reinterpret_cast<lanes>(reinterpret_cast<lane_bits>(v) & 0x7FFFFFFF);
}

// Negates the lanes marked by 1.
template <bool N0, bool N1, bool N2, bool N3>
inline lanes flip(lanes v)
{
    constexpr lane_bits kSigns = {N0 ? INT32_MIN : 0, N1 ? INT32_MIN : 0, N2 ? INT32_MIN : 0, N3 ? INT32_MIN : 0};
    return reinterpret_cast<lanes>(reinterpret_cast<lane_bits>(v) ^ kSigns);
}

template <int I0, int I1, int I2, int I3>
inline lanes shuffle(lanes v)
{
    return __builtin_shufflevector(v, v, I0, I1, I2, I3);
}

// Element i of every lane vector becomes row i.
inline void transpose(lanes (&v)[4])
{
    const lanes low01 = __builtin_shufflevector(v[0], v[1], 0, 4, 1, 5);
    const lanes high01 = __builtin_shufflevector(v[0], v[1], 2, 6, 3, 7);
    const lanes low23 = __builtin_shufflevector(v[2], v[3], 0, 4, 1, 5);
    const lanes high23 = __builtin_shufflevector(v[2], v[3], 2, 6, 3, 7);
    v[0] = __builtin_shufflevector(low01, low23, 0, 1, 4, 5);
    v[1] = __builtin_shufflevector(low01, low23, 2, 3, 6, 7);
    v[2] = __builtin_shufflevector(high01, high23, 0, 1, 4, 5);
    v[3] = __builtin_shufflevector(high01, high23, 2, 3, 6, 7);
}

}  // namespace fixed
