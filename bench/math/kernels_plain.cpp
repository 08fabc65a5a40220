#include <cmath>
#include <numbers>

#include "kernels.h"

namespace plain {
namespace {

constexpr double earth_radius = 6378137.0;
using std::numbers::pi;

double wrapped(double angle)
{
    if (angle > pi) return angle - 2 * pi;
    if (angle < -pi) return angle + 2 * pi;
    return angle;
}

[[gnu::noinline]] double distance(float* component, const double* b, const double* a)
{
    if (std::fabs(a[0]) > pi / 2 || std::fabs(a[1]) > pi || std::fabs(b[0]) > pi / 2 || std::fabs(b[1]) > pi) return -1;
    const double north = (b[0] - a[0]) * earth_radius;
    const double east = wrapped(b[1] - a[1]) * earth_radius * std::cos(a[0]);
    component[0] = static_cast<float>(north);
    component[1] = static_cast<float>(east);
    return std::sqrt(north * north + east * east);
}

[[gnu::noinline]] void offset(double* out, const float* metres, const double* base)
{
    const double latitude = base[0] + metres[0] / earth_radius;
    const double longitude = base[1] + metres[1] / (std::fmax(std::cos(base[0]), 1e-7) * earth_radius);
    out[0] = latitude > pi / 2 ? pi - latitude : latitude < -pi / 2 ? -pi - latitude : latitude;
    out[1] = wrapped(longitude);
}

}  // namespace

void gps_distance(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i) {
        data.out[i] = static_cast<float>(distance(data.b + 2 * i, data.pos_b[i], data.pos_a[i]));
    }
}

void gps_offset(batch& data)
{
    for (size_t i = 0; i < batch::count; ++i)
        offset(data.pos_out[i], data.b + 2 * i, data.pos_a[i]);
}

}  // namespace plain
