#include "motion_list/craft_table.h"

#include <strings.h>

#include <string>

namespace peers {
namespace {

constexpr craft_t CRAFTS[] = {
    {"RV880",
     {0.0f, 3.0f, 7.8f, 11.5f, 13.6f, 16.1f, 18.5f, 20.3f, 21.7f, 23.7f, 24.5f, 28.0f, 29.6f},
     {{0.835f, 25.0f, 300.0f, 75.0f, 4.0f, -3.0f, 6.0f, -5.0f},
      {1.0f, 35.0f, 300.0f, 200.0f, 5.0f, -3.0f, 8.0f, -6.0f}}},
    {"QX520",
     {0.0f, 2.0f, 5.7f, 7.9f, 10.5f, 12.0f, 14.2f, 14.6f, 15.0f, 15.5f, 15.5f, 15.5f, 15.5f},
     {{0.75f, 20.0f, 250.0f, 100.0f, 2.0f, -1.5f, 6.0f, -6.0f},
      {1.0f, 30.0f, 250.0f, 150.0f, 4.0f, -3.0f, 6.0f, -6.0f}}},
};

}  // namespace

const fp32 TILT_ANGLES[TILT_POINTS] = {0.0f,  5.0f,  10.0f, 15.0f, 20.0f, 25.0f, 30.0f,
                                       35.0f, 40.0f, 45.0f, 50.0f, 55.0f, 60.0f};

drones_t known_drones()
{
    return CRAFTS;
}

drones_t drone_named(std::string_view name)
{
    const std::string wanted(name);
    for (const craft_t& craft : CRAFTS) {
        if (strcasecmp(craft.name, wanted.c_str()) == 0) return {&craft, 1};
    }
    return {};
}

fp32 speed_at_tilt(const craft_t& craft, fp32 degrees)
{
    return float_linear_interpolation(degrees, TILT_ANGLES, craft.speeds, TILT_POINTS);
}

}  // namespace peers
