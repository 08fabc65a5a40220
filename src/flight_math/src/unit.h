// Lengths of float vectors taken in double, where no square can overflow or vanish.
#pragma once

#include <cfloat>
#include <cmath>

#include "fixed_vector.h"

namespace fixed {

template <size_t N>
inline fp64 square_length(const fp32* v)
{
    fp64 wide[N];
    for (size_t i = 0; i < N; ++i)
        wide[i] = v[i];
    return dot_product<N>(wide, wide);
}

// v *= factor; double on the way.
template <size_t N>
inline void scale_wide(fp32* v, fp64 factor)
{
    for (size_t i = 0; i < N; ++i)
        v[i] = static_cast<fp32>(v[i] * factor);
}

// Makes v a unit vector. False, v untouched, if it has no direction: zero, infinity or NaN.
template <size_t N>
inline bool make_unit(fp32* v)
{
    const fp64 square = square_length<N>(v);
    if (!(square > 0.0 && square <= DBL_MAX)) return false;
    scale_wide<N>(v, 1.0 / std::sqrt(square));
    return true;
}

}  // namespace fixed
