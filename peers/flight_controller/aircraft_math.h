// Vectors and unit quaternions for the simulated aircraft: north-east-down, x forward and y right on the body, radians.
#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>

namespace peers {

inline constexpr double RADIANS_PER_DEGREE = std::numbers::pi / 180;

struct vec3_t {
    double x = 0, y = 0, z = 0;
};

inline vec3_t operator+(const vec3_t& a, const vec3_t& b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline vec3_t operator-(const vec3_t& a, const vec3_t& b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline vec3_t operator*(double factor, const vec3_t& a)
{
    return {factor * a.x, factor * a.y, factor * a.z};
}
inline vec3_t cross(const vec3_t& a, const vec3_t& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

// On the level: north and east, or forward and right.
struct vec2_t {
    double x = 0, y = 0;
};

inline vec2_t operator+(const vec2_t& a, const vec2_t& b)
{
    return {a.x + b.x, a.y + b.y};
}
inline vec2_t operator-(const vec2_t& a, const vec2_t& b)
{
    return {a.x - b.x, a.y - b.y};
}
inline vec2_t operator*(double factor, const vec2_t& a)
{
    return {factor * a.x, factor * a.y};
}
inline double length(const vec2_t& a)
{
    return std::hypot(a.x, a.y);
}
// The same vector seen from north and east when `a` is seen from a heading; the negative heading goes back.
inline vec2_t turned(const vec2_t& a, double heading)
{
    const double c = std::cos(heading), s = std::sin(heading);
    return {c * a.x - s * a.y, s * a.x + c * a.y};
}
inline vec2_t at_most(const vec2_t& a, double limit)
{
    const double size = length(a);
    return size > limit ? (limit / size) * a : a;
}

// Into -pi to pi.
inline double wrapped(double angle)
{
    return std::remainder(angle, 2 * std::numbers::pi);
}

struct quat_t {
    double w = 1, x = 0, y = 0, z = 0;
};

inline quat_t operator*(const quat_t& a, const quat_t& b)
{
    return {a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z, a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y,
            a.w * b.y - a.x * b.z + a.y * b.w + a.z * b.x, a.w * b.z + a.x * b.y - a.y * b.x + a.z * b.w};
}
inline quat_t inverse(const quat_t& q)
{
    return {q.w, -q.x, -q.y, -q.z};
}
inline quat_t normalized(const quat_t& q)
{
    const double size = std::sqrt(q.w * q.w + q.x * q.x + q.y * q.y + q.z * q.z);
    return {q.w / size, q.x / size, q.y / size, q.z / size};
}

// A rotation about the direction of `v` by its length.
inline quat_t quat_of(const vec3_t& v)
{
    const double angle = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
    const double factor = angle < 1e-9 ? 0.5 : std::sin(angle / 2) / angle;
    return {std::cos(angle / 2), factor * v.x, factor * v.y, factor * v.z};
}

// The shorter way round.
inline vec3_t rotation_of(const quat_t& q)
{
    const double sign = q.w < 0 ? -1 : 1;
    const double size = std::sqrt(q.x * q.x + q.y * q.y + q.z * q.z);
    const double factor = size < 1e-9 ? 2 : 2 * std::atan2(size, sign * q.w) / size;
    return {sign * factor * q.x, sign * factor * q.y, sign * factor * q.z};
}

// From the body to north-east-down.
inline vec3_t rotated(const quat_t& q, const vec3_t& v)
{
    const quat_t r = q * quat_t{0, v.x, v.y, v.z} * inverse(q);
    return {r.x, r.y, r.z};
}

// Roll, pitch, yaw: turned about the vertical first, about the forward axis last.
inline quat_t quat_of_angles(const vec3_t& angles)
{
    return quat_of({0, 0, angles.z}) * quat_of({0, angles.y, 0}) * quat_of({angles.x, 0, 0});
}
inline vec3_t angles_of(const quat_t& q)
{
    return {std::atan2(2 * (q.w * q.x + q.y * q.z), 1 - 2 * (q.x * q.x + q.y * q.y)),
            std::asin(std::clamp(2 * (q.w * q.y - q.z * q.x), -1.0, 1.0)),
            std::atan2(2 * (q.w * q.z + q.x * q.y), 1 - 2 * (q.y * q.y + q.z * q.z))};
}

}  // namespace peers
