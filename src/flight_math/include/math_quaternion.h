// Quaternions of rotation: vec4f in the order w, x, y, z, turning body components into ground components.
//
// Unless a comment says otherwise the quaternions must be of unit length, as quat_normalize leaves them; q and -q are
// the same rotation. Off unit length by a part e, a rotated vector is off by up to 4 e of its length. Angles are
// radians. Every output may be any of the inputs. vec4f_copy copies a quaternion; math_rotation.h has the other forms
// of a rotation.
//
// Source where none is named: Diebel, "Representing attitude: Euler angles, unit quaternions, and rotation vectors"
// (2006).
#pragma once

#include "math_matrix.h"
#include "math_vector.h"

#ifdef __cplusplus
extern "C" {
#endif

// q = (1, 0, 0, 0), no rotation.
void quat_set_identity(vec4f q);

// out = a b (Hamilton's product): the rotation b, then a. Any length; |out| = |a| |b|.
void quat_multiply(vec4f out, const vec4f a, const vec4f b);

// out = (w, -x, -y, -z), which for unit length is the inverse.
void quat_conjugate(vec4f out, const vec4f q);

// out = conjugate / |q|^2 for a quaternion of any length but 0; q out = 1. MATH_SINGULAR, `out` untouched, if q is zero
// or the result does not fit into floats; else 0.
int quat_inverse(vec4f out, const vec4f q);

// q /= |q|, in place, for any length: the norm is taken in double. A quaternion of zeros, or with infinity or NaN in
// it, becomes the identity.
void quat_normalize(vec4f q);

// out = q v q*: body components of a vector into ground components.
void quat_rotate_vec3f(vec3f out, const vec4f q, const vec3f v);

// out = q* v q: ground components of a vector into body components.
void quat_inv_rotate_vec3f(vec3f out, const vec4f q, const vec3f v);

// The angle of the rotation that leads from a to b, 0..pi rad. Exact near 0 and pi too (by atan2, not acos).
fp32 quat_angle_between(const vec4f a, const vec4f b);

// From a (t = 0) to b (t = 1) at a constant rate the short way round; t outside 0..1 goes on at that rate, and the
// error grows with |t|. Half a turn apart (angle pi) both ways are as short, and one of them is taken. Unit length out.
// Source: Shoemake, "Animating rotation with quaternion curves" (1985).
void quat_slerp(vec4f out, const vec4f a, const vec4f b, fp32 t);

// The shortest rotation that turns the direction of `from` into that of `to`; vectors of any length. Opposite
// directions (to within 1e-7 rad) give half a turn about an axis at right angles to `from`. The identity if one vector
// is zero.
void quat_from_two_vec3f(vec4f out, const vec3f from, const vec3f to);

// out = q after `dt` seconds of the constant body rate `rate` (rad/s about forward, right, down): q times the rotation
// about `rate` by |rate| dt, no approximation for small angles, then normalised. Negative `dt` goes back. A turn of
// more than 3e19 rad, whose square floats do not hold, gives the identity.
void quat_integrate_body_rate(vec4f out, const vec4f q, const vec3f rate, fp32 dt);

#ifdef __cplusplus
}
#endif
