// Scalars: the two number types, clamping, sign, table lookup and inverse square roots.
//
// All functions of this library are pure, may be called from any thread, allocate nothing and never block. Functions
// with an array result take it as their first argument; it belongs to the caller. Unless a comment says otherwise, an
// output may be the same array as an input, but must not overlap one partly.
//
// Finite inputs of at most 1e18 in size (and of unit length where that is asked for) never give infinity or NaN unless
// a comment says so. Infinities and NaN that go in come out as the arithmetic has it, or as "singular"; they do no
// other harm.
//
// The library is compiled without contraction to fused operations and refuses to compile with -ffast-math. It thus
// gives the same bits on every build, as far as the C library's sinf, cosf, atan2f and hypotf do.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef float fp32;
typedef double fp64;

// `max` if value > max, else `min` if value < min, else `value`: with min > max the upper bound wins. NaN stays NaN.
fp32 float_constrain(fp32 value, fp32 min, fp32 max);

// 1 above 1e-17, -1 below -1e-17, 0 between and for NaN.
fp32 float_sign(fp32 input);

// Piecewise-linear lookup over `num_of_point` ascending abscissae `x_ref` with the values `y_ref`, held at the end
// values outside. An input equal to an abscissa belongs to the segment on its right, so of two equal abscissae the
// later one counts (a step). Without points the result is 0; NaN gives the last value.
fp32 float_linear_interpolation(fp32 input, const fp32* x_ref, const fp32* y_ref, uint8_t num_of_point);

// 1 / sqrt(x) in single precision; fast_inv_sqrt(x) where |x| <= 1e-17, so that zero gives a large finite number
// (1.98e19) instead of infinity. NaN for x < -1e-17.
fp32 float_inv_sqrt(fp32 x);

// Estimate of 1 / sqrt(x) from the bits of x and one Newton step: within 0.18% for normal positive x, 1.98e19 for zero,
// meaningless for negative x. Source of the constant: Lomont, "Fast inverse square root" (2003).
fp32 fast_inv_sqrt(fp32 x);

#ifdef __cplusplus
}
#endif
