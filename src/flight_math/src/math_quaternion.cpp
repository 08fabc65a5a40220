#include "math_quaternion.h"

#include <cmath>

#include "fixed_vector.h"
#include "lanes.h"
#include "unit.h"

namespace {

// v + w t + u x t with t = 2 u x v, for q = (w, u): the product q v q* with common terms taken out.
void rotate(vec3f out, fp32 w, const vec3f u, const vec3f v)
{
    vec3f t;
    fixed::cross_product(t, u, v);
    fixed::scale<3>(t, 2.0f);
    vec3f u_cross_t;
    fixed::cross_product(u_cross_t, u, t);
    const vec3f result = {v[0] + w * t[0] + u_cross_t[0], v[1] + w * t[1] + u_cross_t[1],
                          v[2] + w * t[2] + u_cross_t[2]};
    fixed::copy<3>(out, result);
}

// sin(angle) / angle. Below 1e-4 it is 1 to the last bit, and 0 / 0 has its value.
fp32 sinc(fp32 angle)
{
    return std::fabs(angle) < 1e-4f ? 1.0f : sinf(angle) / angle;
}

// The rotation that leads from a to b the short way round, with w >= 0; the result is half its angle, 0..pi/2.
fp32 turn_between(vec4f turn, const vec4f a, const vec4f b)
{
    quat_conjugate(turn, a);
    quat_multiply(turn, turn, b);
    if (turn[0] < 0.0f) fixed::scale<4>(turn, -1.0f);
    return atan2f(fixed::norm<3>(turn + 1), turn[0]);
}

// The direction of v in double; false if it has none.
bool direction_of(vec3 out, const vec3f v)
{
    vec3_set_value(out, v[0], v[1], v[2]);
    fixed::normalize<3>(out);
    return fixed::norm<3>(out) > 0.5;
}

// Some vector at right angles to v: across the axis that v has least of.
void any_perpendicular(vec3 out, const vec3 v)
{
    size_t least = 0;
    for (size_t i = 1; i < 3; ++i) {
        if (std::fabs(v[i]) < std::fabs(v[least])) least = i;
    }
    vec3 axis = {};
    axis[least] = 1.0;
    fixed::cross_product(out, v, axis);
}

}  // namespace

void quat_set_identity(vec4f q)
{
    vec4f_set_value(q, 1.0f, 0.0f, 0.0f, 0.0f);
}

// Term by term the sums of the definition, four elements at once.
void quat_multiply(vec4f out, const vec4f a, const vec4f b)
{
    using fixed::flip;
    using fixed::shuffle;
    const fixed::lanes q = fixed::load(b);
    const fixed::lanes iq = flip<1, 0, 1, 0>(shuffle<1, 0, 3, 2>(q));
    const fixed::lanes jq = flip<1, 0, 0, 1>(shuffle<2, 3, 0, 1>(q));
    const fixed::lanes kq = flip<1, 1, 0, 0>(shuffle<3, 2, 1, 0>(q));
    fixed::store(out, a[0] * q + a[1] * iq + a[2] * jq + a[3] * kq);
}

void quat_conjugate(vec4f out, const vec4f q)
{
    fixed::store(out, fixed::flip<0, 1, 1, 1>(fixed::load(q)));
}

int quat_inverse(vec4f out, const vec4f q)
{
    const fp64 square = fixed::square_length<4>(q);
    if (!(square > 0.0 && square <= DBL_MAX)) return MATH_SINGULAR;
    vec4f result;
    quat_conjugate(result, q);
    fixed::scale_wide<4>(result, 1.0 / square);
    if (!(fixed::square_length<4>(result) <= DBL_MAX)) return MATH_SINGULAR;
    fixed::copy<4>(out, result);
    return 0;
}

void quat_normalize(vec4f q)
{
    if (!fixed::make_unit<4>(q)) quat_set_identity(q);
}

void quat_rotate_vec3f(vec3f out, const vec4f q, const vec3f v)
{
    rotate(out, q[0], q + 1, v);
}

void quat_inv_rotate_vec3f(vec3f out, const vec4f q, const vec3f v)
{
    rotate(out, -q[0], q + 1, v);
}

fp32 quat_angle_between(const vec4f a, const vec4f b)
{
    vec4f turn;
    return 2.0f * turn_between(turn, a, b);
}

void quat_slerp(vec4f out, const vec4f a, const vec4f b, fp32 t)
{
    vec4f turn;
    const fp32 half = turn_between(turn, a, b);
    // sin(t half) / sin(half), by sinc so that equal ends need no case of their own.
    fixed::scale<3>(turn + 1, t * sinc(t * half) / sinc(half));
    turn[0] = cosf(t * half);
    quat_multiply(out, a, turn);
    quat_normalize(out);
}

// In double, as two almost opposite directions leave little of their sum.
void quat_from_two_vec3f(vec4f out, const vec3f from, const vec3f to)
{
    vec3 start;
    vec3 end;
    const bool have_both = direction_of(start, from) && direction_of(end, to);
    quat_set_identity(out);
    if (!have_both) return;

    // A rotation has the dot and the cross product of `from` with the direction half way as its w and its axis.
    vec3 half_way;
    vec3 axis;
    fixed::add<3>(half_way, start, end);
    const bool opposite = fixed::norm<3>(half_way) < 1e-7;
    if (opposite) {
        any_perpendicular(axis, start);
    } else {
        fixed::normalize<3>(half_way);
        fixed::cross_product(axis, start, half_way);
    }
    out[0] = opposite ? 0.0f : static_cast<fp32>(fixed::dot_product<3>(start, half_way));
    for (size_t i = 0; i < 3; ++i)
        out[i + 1] = static_cast<fp32>(axis[i]);
    quat_normalize(out);
}

void quat_integrate_body_rate(vec4f out, const vec4f q, const vec3f rate, fp32 dt)
{
    const vec3f half = {0.5f * dt * rate[0], 0.5f * dt * rate[1], 0.5f * dt * rate[2]};
    const fp32 angle = fixed::norm<3>(half);
    const fp32 s = sinc(angle);
    const vec4f turn = {cosf(angle), s * half[0], s * half[1], s * half[2]};
    quat_multiply(out, q, turn);
    quat_normalize(out);
}
