// Whatever finite floats come in, none of the functions gives infinity or NaN; any bit pattern at all does no harm.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>

#include "math_gps.h"
#include "math_kinematic.h"
#include "math_matrix.h"
#include "math_quaternion.h"
#include "math_rotation.h"

namespace {

// Functions of one array of numbers, of which the first may have to be made quaternions of unit length. One that has no
// answer leaves what stands there.
struct function {
    const char* name;
    size_t unit_quaternions, out;
    void (*call)(float* out, const float* in);
};

template <auto Function, size_t N>
void in_place(float* out, const float* in)
{
    std::copy(in, in + N, out);
    Function(out);
}

const function functions[] = {
    {"quat_to_euler", 1, 3, quat_to_euler},
    {"quat_to_dcm", 1, 9, quat_to_dcm},
    {"quat_to_axis_angle", 1, 4, quat_to_axis_angle},
    {"quat_to_tilt_torsion", 1, 3, quat_to_tilt_torsion},
    {"euler_to_quat", 0, 4, euler_to_quat},
    {"euler_to_dcm", 0, 9, euler_to_dcm},
    {"euler_to_axis_angle", 0, 4, euler_to_axis_angle},
    {"euler_to_tilt_torsion", 0, 3, euler_to_tilt_torsion},
    {"dcm_to_quat", 0, 4, dcm_to_quat},
    {"dcm_to_euler", 0, 3, dcm_to_euler},
    {"axis_angle_to_quat", 0, 4, axis_angle_to_quat},
    {"tilt_torsion_to_quat", 0, 4, tilt_torsion_to_quat},
    {"quat_inverse", 0, 4, [](float* out, const float* in) { quat_inverse(out, in); }},
    {"matrix2f_inverse", 0, 4, [](float* out, const float* in) { matrix2f_inverse(out, in); }},
    {"matrix3f_inverse", 0, 9, [](float* out, const float* in) { matrix3f_inverse(out, in); }},
    {"matrix3f_cholesky", 0, 9, [](float* out, const float* in) { matrix3f_cholesky(out, in); }},
    {"dcm_orthonormalize", 0, 9, in_place<dcm_orthonormalize, 9>},
    {"quat_normalize", 0, 4, in_place<quat_normalize, 4>},
    {"vec2f_normalize", 0, 2, in_place<vec2f_normalize, 2>},
    {"vec9f_normalize", 0, 9, in_place<vec9f_normalize, 9>},
    {"quat_multiply", 0, 4, [](float* out, const float* in) { quat_multiply(out, in, in + 4); }},
    {"quat_rotate_vec3f", 1, 3, [](float* out, const float* in) { quat_rotate_vec3f(out, in, in + 4); }},
    {"quat_inv_rotate_vec3f", 1, 3, [](float* out, const float* in) { quat_inv_rotate_vec3f(out, in, in + 4); }},
    {"quat_angle_between", 2, 1, [](float* out, const float* in) { out[0] = quat_angle_between(in, in + 4); }},
    {"euler_rate_to_body_rate", 0, 3, [](float* out, const float* in) { euler_rate_to_body_rate(out, in, in + 3); }},
    {"body_rate_to_euler_rate", 0, 3, [](float* out, const float* in) { body_rate_to_euler_rate(out, in, in + 3); }},
    {"matrix2f_solve", 0, 2, [](float* out, const float* in) { matrix2f_solve(out, in, in + 4); }},
    {"convert_vec2f", 0, 2,
     [](float* out, const float* in) { convert_vec2f_from_refA_to_refB(out, in, in[2], in[3]); }},
    {"float_constrain", 0, 1, [](float* out, const float* in) { out[0] = float_constrain(in[0], in[1], in[2]); }},
    {"quat_slerp", 2, 4, [](float* out, const float* in) { quat_slerp(out, in, in + 4, in[8]); }},
    {"quat_from_two_vec3f", 0, 4, [](float* out, const float* in) { quat_from_two_vec3f(out, in, in + 3); }},
    {"quat_integrate_body_rate", 1, 4,
     [](float* out, const float* in) { quat_integrate_body_rate(out, in, in + 4, in[7]); }},
    {"cosine_between_vec4f", 0, 1, [](float* out, const float* in) { out[0] = cosine_between_vec4f(in, in + 4); }},
    {"vec3f_constrain_norm", 0, 3,
     [](float* out, const float* in) {
         vec3f_copy(out, in);
         vec3f_constrain_norm(out, std::fabs(in[3]));
     }},
};

float any_float()
{
    return std::bit_cast<float>(*rc::gen::arbitrary<uint32_t>());
}

// Of any size up to 1e18; every fourth one a number that is likely to make trouble.
float moderate_float()
{
    if (*rc::gen::inRange(0, 4) == 0) return *rc::gen::element(0.0f, -0.0f, 1.0f, -1.0f, 1e-45f, 1e-20f, -1e18f, 1e18f);
    const float x = any_float();
    return std::fabs(x) <= 1e18f ? x : 2.0f;
}

RC_GTEST_PROP(AnyFloats, FiniteOnesUpTo1e18GiveFiniteOnes, ())
{
    float in[9], out[9] = {};
    for (float& x : in)
        x = moderate_float();
    for (const function& one : functions) {
        float numbers[9];
        std::copy(in, in + 9, numbers);
        for (size_t i = 0; i < one.unit_quaternions; ++i)
            quat_normalize(numbers + 4 * i);
        one.call(out, numbers);
        for (size_t i = 0; i < one.out; ++i) {
            if (!std::isfinite(out[i])) RC_FAIL(std::string(one.name) + " gives infinity or NaN");
        }
    }
}

RC_GTEST_PROP(AnyFloats, AnyBitsDoNoHarm, ())
{
    float in[9], out[9] = {};
    for (float& x : in)
        x = any_float();
    for (const function& one : functions)
        one.call(out, in);
    const double from[2] = {in[0], in[1]}, to[2] = {in[2], in[3]};
    double target[2];
    get_gps_distance_and_component(out, to, from);
    get_gps_pos_by_ned_offset(target, in + 4, from);
    float_linear_interpolation(in[8], in, in + 4, 4);
}

}  // namespace
