// Changes of reference frame and rates of rotation.
#pragma once

#include "math_matrix.h"
#include "math_vector.h"

#ifdef __cplusplus
extern "C" {
#endif

// Turns `in`, given in a horizontal frame of heading `refA`, into the frame of heading `refB` (rad, single precision):
// out = R(refA - refB) * in. With refB = 0 a (forward, right) body vector becomes (north, east). The difference is
// brought back by one turn at most, so each heading should lie within -pi..pi. `out` may be `in`.
void convert_vec2f_from_refA_to_refB(vec2f out, const vec2f in, fp32 refA, fp32 refB);

// Body rate (rad/s about forward, right, down) of an aircraft at `euler` = (yaw, pitch, roll), whose angles change by
// `euler_rate` (rad/s, same order). `rate` may be either input. Source: Diebel, "Representing attitude" (2006).
void euler_rate_to_body_rate(vec3f rate, const vec3f euler, const vec3f euler_rate);

// The other way. MATH_SINGULAR, `euler_rate` untouched, where |cos(pitch)| <= 1e-6: yaw and roll rates are not
// determined there; else 0. `euler_rate` may be either input.
int body_rate_to_euler_rate(vec3f euler_rate, const vec3f euler, const vec3f rate);

#ifdef __cplusplus
}
#endif
