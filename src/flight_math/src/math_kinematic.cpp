#include "math_kinematic.h"

#include <cmath>

#include "math_rotation.h"
#include "pi.h"

void convert_vec2f_from_refA_to_refB(vec2f out, const vec2f in, fp32 refA, fp32 refB)
{
    fp32 alpha = refA - refB;
    if (alpha >= fixed::kPi) {
        alpha -= fixed::kTwoPi;
    } else if (alpha <= -fixed::kPi) {
        alpha += fixed::kTwoPi;
    }
    DCM2f turn;
    get_DCM2f_from_tors_angle(turn, alpha);
    vec2f_body_to_gnd(out, in, turn);
}

void euler_rate_to_body_rate(vec3f rate, const vec3f euler, const vec3f euler_rate)
{
    const fp32 yaw_across = euler_rate[0] * cosf(euler[1]);
    const fp32 c = cosf(euler[2]);
    const fp32 s = sinf(euler[2]);
    vec3f_set_value(rate, euler_rate[2] - euler_rate[0] * sinf(euler[1]), c * euler_rate[1] + s * yaw_across,
                    c * yaw_across - s * euler_rate[1]);
}

int body_rate_to_euler_rate(vec3f euler_rate, const vec3f euler, const vec3f rate)
{
    const fp32 cos_pitch = cosf(euler[1]);
    if (!(std::fabs(cos_pitch) > 1e-6f)) return MATH_SINGULAR;
    const fp32 c = cosf(euler[2]);
    const fp32 s = sinf(euler[2]);
    const fp32 yaw_rate = (s * rate[1] + c * rate[2]) / cos_pitch;
    vec3f_set_value(euler_rate, yaw_rate, c * rate[1] - s * rate[2], rate[0] + yaw_rate * sinf(euler[1]));
    return 0;
}
