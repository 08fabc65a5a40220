// Rotations in their five forms, and each form from each other.
//
//   quat          vec4f   w, x, y, z; unit length (math_quaternion.h)
//   dcm           DCM3f   the 3 x 3 direction-cosine matrix, row by row; orthonormal
//   euler         vec3f   yaw, pitch, roll (rad): Z-Y-X, first yaw about down, then pitch about right, then roll
//   axis_angle    vec4f   x, y, z of the axis, then the angle (rad)
//   tilt_torsion  vec3f   tilt about forward, tilt about right, torsion (rad): first the heading turns by the
//                         torsion about down, then the body tilts about one horizontal axis of the turned frame;
//                         the first two numbers are that axis times the angle. No gimbal lock short of upside down.
//
// All of them turn body components (forward, right, down) into ground components (north, east, down), angles are
// radians. Every output may be the same array as the input. Two-dimensional turns (DCM2f) are about the down axis.
//
// Ranges of what comes out: yaw and roll -pi..pi, pitch -pi/2..pi/2; axis of unit length and angle 0..pi; tilt 0..pi in
// all, torsion -pi..pi; quaternions of unit length and, from matrices, w >= 0.
//
// Degenerate cases:
//   pitch = +/- pi/2   Yaw and roll turn about the same axis and are not determined. Coming out they are finite
//                      but mean nothing, not even together; near it their errors grow with 1 / cos(pitch).
//   no rotation        The axis is (1, 0, 0), the angle 0.
//   half a turn        The axis and its opposite mean the same; one of them comes out.
//   upside down        Tilt of pi: torsion and tilt axis are not determined separately. The torsion comes out as 0.
//   zero axis          Going in, a zero axis is no rotation, whatever the angle. Other axes may have any length.
//   not a rotation     A matrix off orthonormal or a quaternion off unit length by rounding gives a result off by
//                      as much.
//
// Sources: Diebel, "Representing attitude: Euler angles, unit quaternions, and rotation vectors" (2006); Shepperd,
// "Quaternion from rotation matrix" (1978), for dcm_to_quat.
#pragma once

#include "math_matrix.h"
#include "math_vector.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef matrix2f DCM2f;
typedef matrix3f DCM3f;

// Rows (cos a, -sin a) and (sin a, cos a): the turn by the torsion (heading) `angle` about the down axis.
void get_DCM2f_from_tors_angle(DCM2f DCM, fp32 angle);

// out = DCM * in, and back with the transpose; `out` may be `in`. Any matrix will do.
void vec2f_body_to_gnd(vec2f out, const vec2f in, const DCM2f DCM);
void vec2f_gnd_to_body(vec2f out, const vec2f in, const DCM2f DCM);
void vec3f_body_to_gnd(vec3f out, const vec3f in, const DCM3f DCM);
void vec3f_gnd_to_body(vec3f out, const vec3f in, const DCM3f DCM);

// Makes a matrix that rounding has drawn off a rotation again: the first row keeps its direction, the second the plane
// it spans with the first (Gram-Schmidt), the third is their cross product. In place. MATH_SINGULAR, `DCM` untouched,
// if the first two rows are parallel (to within 1e-6) or one of them is zero, infinite or NaN; else 0.
int dcm_orthonormalize(DCM3f DCM);

// The pitch is taken by atan2 against the horizontal length, never by asin: a quaternion slightly off unit length needs
// no clamping.
void quat_to_euler(vec3f euler, const vec4f q);
void quat_to_dcm(DCM3f dcm, const vec4f q);
void quat_to_axis_angle(vec4f axis_angle, const vec4f q);
void quat_to_tilt_torsion(vec3f tilt_torsion, const vec4f q);

void euler_to_quat(vec4f q, const vec3f euler);
void euler_to_dcm(DCM3f dcm, const vec3f euler);
void euler_to_axis_angle(vec4f axis_angle, const vec3f euler);
void euler_to_tilt_torsion(vec3f tilt_torsion, const vec3f euler);

void dcm_to_quat(vec4f q, const DCM3f dcm);
void dcm_to_euler(vec3f euler, const DCM3f dcm);
void dcm_to_axis_angle(vec4f axis_angle, const DCM3f dcm);
void dcm_to_tilt_torsion(vec3f tilt_torsion, const DCM3f dcm);

void axis_angle_to_quat(vec4f q, const vec4f axis_angle);
void axis_angle_to_euler(vec3f euler, const vec4f axis_angle);
void axis_angle_to_dcm(DCM3f dcm, const vec4f axis_angle);
void axis_angle_to_tilt_torsion(vec3f tilt_torsion, const vec4f axis_angle);

void tilt_torsion_to_quat(vec4f q, const vec3f tilt_torsion);
void tilt_torsion_to_euler(vec3f euler, const vec3f tilt_torsion);
void tilt_torsion_to_dcm(DCM3f dcm, const vec3f tilt_torsion);
void tilt_torsion_to_axis_angle(vec4f axis_angle, const vec3f tilt_torsion);

#ifdef __cplusplus
}
#endif
