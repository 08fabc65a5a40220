#include "math_rotation.h"

#include <cmath>

#include "fixed_matrix.h"
#include "math_quaternion.h"
#include "unit.h"

namespace {

struct half_angle {
    fp32 c, s;
    explicit half_angle(fp32 angle) : c(cosf(0.5f * angle)), s(sinf(0.5f * angle)) {}
};

// The same rotation with w >= 0, that is, of at most half a turn.
void short_way(vec4f out, const vec4f q)
{
    fixed::copy<4>(out, q);
    if (q[0] < 0.0f) fixed::scale<4>(out, -1.0f);
}

fp32 length(const vec3f v)
{
    return static_cast<fp32>(std::sqrt(fixed::square_length<3>(v)));
}

// Turns a unit vector into the closest one at right angles to the unit vector `to`. Twice, as the first pass leaves an
// error where the two are almost parallel. False if they are.
bool make_perpendicular(vec3f v, const vec3f to)
{
    for (int pass = 0; pass < 2; ++pass) {
        vec3f along;
        fixed::copy<3>(along, to);
        fixed::scale<3>(along, fixed::dot_product<3>(v, to));
        fixed::sub<3>(v, v, along);
        if (!(length(v) > 1e-6f) || !fixed::make_unit<3>(v)) return false;
    }
    return true;
}

}  // namespace

void get_DCM2f_from_tors_angle(DCM2f DCM, fp32 angle)
{
    const fp32 c = cosf(angle);
    const fp32 s = sinf(angle);
    vec4f_set_value(DCM, c, -s, s, c);
}

void vec2f_body_to_gnd(vec2f out, const vec2f in, const DCM2f DCM)
{
    fixed::multiply_vec<2>(out, DCM, in);
}

void vec2f_gnd_to_body(vec2f out, const vec2f in, const DCM2f DCM)
{
    fixed::multiply_vec_transposed<2>(out, DCM, in);
}

void vec3f_body_to_gnd(vec3f out, const vec3f in, const DCM3f DCM)
{
    fixed::multiply_vec<3>(out, DCM, in);
}

void vec3f_gnd_to_body(vec3f out, const vec3f in, const DCM3f DCM)
{
    fixed::multiply_vec_transposed<3>(out, DCM, in);
}

int dcm_orthonormalize(DCM3f DCM)
{
    DCM3f result;
    fixed::copy<9>(result, DCM);
    if (!fixed::make_unit<3>(result) || !fixed::make_unit<3>(result + 3)) return MATH_SINGULAR;
    if (!make_perpendicular(result + 3, result)) return MATH_SINGULAR;
    fixed::cross_product(result + 6, result, result + 3);
    fixed::copy<9>(DCM, result);
    return 0;
}

// Through the matrix, whose elements are the very terms of the direct formulas, to the last bit.
void quat_to_euler(vec3f euler, const vec4f q)
{
    DCM3f dcm;
    quat_to_dcm(dcm, q);
    dcm_to_euler(euler, dcm);
}

void quat_to_dcm(DCM3f dcm, const vec4f q)
{
    const fp32 w = q[0];
    const fp32 x = q[1];
    const fp32 y = q[2];
    const fp32 z = q[3];
    const DCM3f result = {
        1.0f - 2.0f * (y * y + z * z), 2.0f * (x * y - w * z),        2.0f * (x * z + w * y),         //
        2.0f * (x * y + w * z),        1.0f - 2.0f * (x * x + z * z), 2.0f * (y * z - w * x),         //
        2.0f * (x * z - w * y),        2.0f * (y * z + w * x),        1.0f - 2.0f * (x * x + y * y),  //
    };
    fixed::copy<9>(dcm, result);
}

void quat_to_axis_angle(vec4f axis_angle, const vec4f q)
{
    vec4f turn;
    short_way(turn, q);
    vec3f axis = {turn[1], turn[2], turn[3]};
    const fp32 angle = 2.0f * atan2f(length(axis), turn[0]);
    if (!fixed::make_unit<3>(axis)) vec3f_set_value(axis, 1.0f, 0.0f, 0.0f);
    vec4f_set_value(axis_angle, axis[0], axis[1], axis[2], angle);
}

// q = torsion * tilt, where the torsion is (w, 0, 0, z) / n and the tilt has no z.
void quat_to_tilt_torsion(vec3f tilt_torsion, const vec4f q)
{
    vec4f turn;
    short_way(turn, q);
    const fp32 n = hypotf(turn[0], turn[3]);
    const fp32 m = hypotf(turn[1], turn[2]);
    const fp32 c = n > 0.0f ? turn[0] / n : 1.0f;
    const fp32 s = n > 0.0f ? turn[3] / n : 0.0f;
    const fp32 per_sine = m > 0.0f ? 2.0f * atan2f(m, n) / m : 2.0f;
    vec3f_set_value(tilt_torsion, per_sine * (c * turn[1] + s * turn[2]), per_sine * (c * turn[2] - s * turn[1]),
                    2.0f * atan2f(s, c));
}

void euler_to_quat(vec4f q, const vec3f euler)
{
    const half_angle yaw(euler[0]);
    const half_angle pitch(euler[1]);
    const half_angle roll(euler[2]);
    vec4f_set_value(
        q, roll.c * pitch.c * yaw.c + roll.s * pitch.s * yaw.s, roll.s * pitch.c * yaw.c - roll.c * pitch.s * yaw.s,
        roll.c * pitch.s * yaw.c + roll.s * pitch.c * yaw.s, roll.c * pitch.c * yaw.s - roll.s * pitch.s * yaw.c);
}

void euler_to_dcm(DCM3f dcm, const vec3f euler)
{
    const fp32 cy = cosf(euler[0]);
    const fp32 sy = sinf(euler[0]);
    const fp32 cp = cosf(euler[1]);
    const fp32 sp = sinf(euler[1]);
    const fp32 cr = cosf(euler[2]);
    const fp32 sr = sinf(euler[2]);
    const DCM3f result = {
        cp * cy,
        sr * sp * cy - cr * sy,
        cr * sp * cy + sr * sy,  //
        cp * sy,
        sr * sp * sy + cr * cy,
        cr * sp * sy - sr * cy,  //
        -sp,
        sr * cp,
        cr * cp,  //
    };
    fixed::copy<9>(dcm, result);
}

// From the largest of the four squares, so that nothing is divided by a small difference.
void dcm_to_quat(vec4f q, const DCM3f dcm)
{
    size_t i = 0;
    for (size_t k = 1; k < 3; ++k) {
        if (dcm[4 * k] > dcm[4 * i]) i = k;
    }
    const size_t j = (i + 1) % 3;
    const size_t k = (i + 2) % 3;
    const fp32 trace = fixed::trace<3>(dcm);
    vec4f result;
    if (trace >= dcm[4 * i]) {
        vec4f_set_value(result, 1.0f + trace, dcm[7] - dcm[5], dcm[2] - dcm[6], dcm[3] - dcm[1]);
    } else {
        result[0] = dcm[3 * k + j] - dcm[3 * j + k];
        result[1 + i] = 1.0f + dcm[4 * i] - dcm[4 * j] - dcm[4 * k];
        result[1 + j] = dcm[3 * i + j] + dcm[3 * j + i];
        result[1 + k] = dcm[3 * i + k] + dcm[3 * k + i];
    }
    quat_normalize(result);
    short_way(q, result);
}

void dcm_to_euler(vec3f euler, const DCM3f dcm)
{
    const fp32 horizontal = sqrtf(dcm[0] * dcm[0] + dcm[3] * dcm[3]);
    vec3f_set_value(euler, atan2f(dcm[3], dcm[0]), atan2f(-dcm[6], horizontal), atan2f(dcm[7], dcm[8]));
}

void axis_angle_to_quat(vec4f q, const vec4f axis_angle)
{
    vec3f axis = {axis_angle[0], axis_angle[1], axis_angle[2]};
    const half_angle half(axis_angle[3]);
    quat_set_identity(q);
    if (!fixed::make_unit<3>(axis)) return;
    vec4f_set_value(q, half.c, half.s * axis[0], half.s * axis[1], half.s * axis[2]);
}

void tilt_torsion_to_quat(vec4f q, const vec3f tilt_torsion)
{
    vec4f tilt = {tilt_torsion[0], tilt_torsion[1], 0.0f, 0.0f};
    tilt[3] = hypotf(tilt[0], tilt[1]);
    axis_angle_to_quat(tilt, tilt);
    const half_angle half(tilt_torsion[2]);
    const vec4f torsion = {half.c, 0.0f, 0.0f, half.s};
    quat_multiply(q, torsion, tilt);
    quat_normalize(q);  // or the rounding of both factors would show fourfold in a matrix
}

// The other pairs lead through the quaternion.
// clang-format off
#define THROUGH_QUAT(from, from_type, to, to_type)          \
    void from##_to_##to(to_type out, const from_type in)    \
    {                                                       \
        vec4f q;                                            \
        from##_to_quat(q, in);                              \
        quat_to_##to(out, q);                               \
    }
// clang-format on

THROUGH_QUAT(euler, vec3f, axis_angle, vec4f)
THROUGH_QUAT(euler, vec3f, tilt_torsion, vec3f)
THROUGH_QUAT(dcm, DCM3f, axis_angle, vec4f)
THROUGH_QUAT(dcm, DCM3f, tilt_torsion, vec3f)
THROUGH_QUAT(axis_angle, vec4f, euler, vec3f)
THROUGH_QUAT(axis_angle, vec4f, dcm, DCM3f)
THROUGH_QUAT(axis_angle, vec4f, tilt_torsion, vec3f)
THROUGH_QUAT(tilt_torsion, vec3f, euler, vec3f)
THROUGH_QUAT(tilt_torsion, vec3f, dcm, DCM3f)
THROUGH_QUAT(tilt_torsion, vec3f, axis_angle, vec4f)

#undef THROUGH_QUAT
