#include "tfr_file/tfr_circle.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace peers {
namespace {

constexpr double EARTH_RADIUS_M = 6378137.0;
constexpr double RADIANS = std::numbers::pi / 180 / 1e6;  // of the file's unit

double squared(double value)
{
    return value * value;
}

double metres_between(const vela_tfr_gps& from, const vela_tfr_gps& to)
{
    const double from_lat = from.lat * RADIANS;
    const double to_lat = to.lat * RADIANS;
    const double east = (static_cast<double>(to.lng) - from.lng) * RADIANS;
    const double chord = squared(std::sin((to_lat - from_lat) / 2)) +
                         std::cos(from_lat) * std::cos(to_lat) * squared(std::sin(east / 2));
    return 2 * EARTH_RADIUS_M * std::asin(std::min(1.0, std::sqrt(std::max(0.0, chord))));
}

int32_t middle(int64_t least, int64_t most)
{
    return static_cast<int32_t>((least + most) / 2);
}

}  // namespace

vela_tfr_gps middle_of(corners_t corners)
{
    int32_t west = corners[0].lng;
    int32_t east = west;
    int32_t south = corners[0].lat;
    int32_t north = south;
    for (const vela_tfr_gps corner : corners) {
        west = std::min<int32_t>(west, corner.lng);
        east = std::max<int32_t>(east, corner.lng);
        south = std::min<int32_t>(south, corner.lat);
        north = std::max<int32_t>(north, corner.lat);
    }
    return {middle(west, east), middle(south, north)};
}

double reach_of(const vela_tfr_gps& center, corners_t corners)
{
    double reach = 0;
    for (const vela_tfr_gps& corner : corners)
        reach = std::max(reach, metres_between(center, corner));
    return reach;
}

}  // namespace peers
