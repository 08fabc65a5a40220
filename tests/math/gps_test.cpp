// Positions: the fixed rules to the last bit, the distances against GeographicLib on a sphere of the same radius.
#include "math_gps.h"

#include <gmock/gmock.h>
#include <GeographicLib/Geodesic.hpp>

#include <algorithm>
#include <array>

#include "accuracy.h"

namespace {

using math_test::expect_accuracy;
using math_test::source;
using testing::ElementsAre;

constexpr double radius = 6378137.0;
constexpr double pi = 3.1415927410125732;  // single precision, widened
constexpr double two_pi = 6.2831854820251465;

using position = std::array<double, 2>;

struct leg {
    float metres;
    std::array<float, 2> component;
};

leg distance(const position& b, const position& a)
{
    leg found{0, {7, 7}};
    found.metres = get_gps_distance_and_component(found.component.data(), b.data(), a.data());
    return found;
}

position offset(const position& base, std::array<float, 2> metres)
{
    position found;
    get_gps_pos_by_ned_offset(found.data(), metres.data(), base.data());
    return found;
}

TEST(GpsDistance, TakesTheShortWayAcrossTheDateLineAndRefusesWhatIsNotOnEarth)
{
    EXPECT_EQ(distance({0, -3.14}, {0, 3.14}).component[1], static_cast<float>((-6.28 + two_pi) * radius));
    EXPECT_EQ(distance({0, 3.14}, {0, -3.14}).component[1], static_cast<float>((6.28 - two_pi) * radius));
    // The bounds are in single precision.
    const double pole = 1.5707963705062866;
    EXPECT_GE(distance({pole, pi}, {-pole, -pi}).metres, 0);
    for (const position& wrong :
         {position{std::nextafter(pole, 2), 0}, position{std::nextafter(-pole, -2), 0},
          position{0, std::nextafter(pi, 4)}, position{0, std::nextafter(-pi, -4)}, position{1.6, 0}}) {
        for (const leg& refused : {distance(wrong, {0, 0}), distance({0, 0}, wrong)}) {
            EXPECT_EQ(refused.metres, -1.0f);
            EXPECT_THAT(refused.component, ElementsAre(7, 7));
        }
    }
}

// The rule once more, by itself: which parts are single and which double, and the folds.
position expected_offset(const position& base, const std::array<float, 2>& metres)
{
    const float cosine = std::max(cosf(static_cast<float>(base[0])), 1e-7f);
    double latitude = base[0] + metres[0] / radius, longitude = base[1] + metres[1] / (double{cosine} * radius);
    if (std::fabs(latitude) > pi / 2) latitude = std::copysign(pi, latitude) - latitude;
    if (std::fabs(longitude) > pi) longitude = latitude - std::copysign(two_pi, longitude);
    return {latitude, longitude};
}

TEST(Gps, MixesSingleAndDoubleExactlySo)
{
    expect_accuracy({{"gps distance, to the bit", 0.0}, {"gps offset, to the bit", 0.0}}, [](source& inputs) {
        const position a = {pi / 2 * inputs.element(), pi * inputs.element()};
        const position b = {std::clamp(a[0] + 0.01 * inputs.element(), -pi / 2, pi / 2),
                            std::clamp(a[1] + 0.01 * inputs.element(), -pi, pi)};
        const leg found = distance(b, a);
        const float north = static_cast<float>((b[0] - a[0]) * radius);
        const double cosine = static_cast<double>(cosf(static_cast<float>(a[0])));
        const float east = static_cast<float>((b[1] - a[1]) * radius * cosine);
        const bool same_leg = found.component[0] == north && found.component[1] == east &&
                              found.metres == sqrtf(north * north + east * east);
        const std::array<float, 2> metres = {50000 * inputs.element(), 50000 * inputs.element()};
        const bool same_place = offset(a, metres) == expected_offset(a, metres);
        return std::array{same_leg ? 0.0 : 1.0, same_place ? 0.0 : 1.0};
    });
}

TEST(GpsOffset, FoldsAtThePolesAndKeepsACosineThere)
{
    const position over_north = offset({1.57, 1.0}, {10000, 0});
    EXPECT_EQ(over_north[0], pi - (1.57 + 10000 / radius));
    EXPECT_EQ(over_north[1], 1.0);
    EXPECT_EQ(offset({-1.57, 1.0}, {-10000, 0})[0], -pi - (-1.57 - 10000 / radius));
    // Cosines in single precision: -4.4e-8 and 7.5e-8.
    for (const double pole : {1.5707963705062866, 1.5707962512969971})
        EXPECT_EQ(offset({pole, 1.0}, {0, 0.5f})[1], 1.0 + 0.5 / (static_cast<double>(1e-7f) * radius));
    // Agreed, if odd: the wrapped longitude is counted from the latitude.
    EXPECT_EQ(offset({0.5, 3.1415}, {0, 10000}), (position{0.5, 0.5 - two_pi}));
    EXPECT_EQ(offset({0.5, -3.1415}, {0, -10000}), (position{0.5, 0.5 + two_pi}));
    position in_place = {0.7, -2.1};
    const float metres[2] = {300, -400};
    get_gps_pos_by_ned_offset(in_place.data(), metres, in_place.data());
    EXPECT_EQ(in_place, offset({0.7, -2.1}, {300, -400}));
}

// The table of docs/math.md: what a flat earth costs against a sphere, at most, by latitude and length of the leg.
struct flat_error {
    double latitude_deg;
    double length_m;
    double distance_m;  // error of the distance
    double position_m;  // error of the position by offset
};

const flat_error FLAT_ERRORS[] = {
    {0, 100, 0.0001, 0.0001}, {0, 1000, 0.0002, 0.0002}, {0, 5000, 0.001, 0.001},   {30, 100, 0.0003, 0.0006},
    {30, 1000, 0.018, 0.055}, {30, 5000, 0.45, 1.35},    {60, 100, 0.0006, 0.0017}, {60, 1000, 0.053, 0.16},
    {60, 5000, 1.35, 4.0},    {80, 100, 0.0018, 0.0055}, {80, 1000, 0.18, 0.53},    {80, 5000, 4.4, 13.0},
};

TEST(FlatEarth, CostsNoMoreThanTheTableSays)
{
    const GeographicLib::Geodesic sphere(radius, 0);
    const double degree = std::acos(-1.0) / 180;
    for (const flat_error& row : FLAT_ERRORS) {
        const std::string name =
            "at " + std::to_string(row.latitude_deg) + " deg up to " + std::to_string(row.length_m);
        const auto errors = [&](source& inputs) {
            const double latitude = row.latitude_deg * (inputs.integer(0, 1) * 2 - 1);
            const double longitude = inputs.between(-170, 170), azimuth = inputs.between(0, 360);
            const double length = row.length_m * inputs.between(0, 1);
            double end_latitude, end_longitude, off;
            sphere.Direct(latitude, longitude, azimuth, length, end_latitude, end_longitude);
            const position from = {latitude * degree, longitude * degree};
            const leg found = distance({end_latitude * degree, end_longitude * degree}, from);
            const position to = offset(from, {static_cast<float>(length * std::cos(azimuth * degree)),
                                              static_cast<float>(length * std::sin(azimuth * degree))});
            sphere.Inverse(end_latitude, end_longitude, to[0] / degree, to[1] / degree, off);
            return std::array{std::fabs(found.metres - length), off};
        };
        const std::string distance_name = "distance " + name, position_name = "position " + name;
        expect_accuracy({{distance_name.c_str(), row.distance_m}, {position_name.c_str(), row.position_m}}, errors);
    }
}

}  // namespace
