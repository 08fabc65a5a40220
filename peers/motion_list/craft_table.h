// What a stick means on each airframe: the service's own figures, which the tests hold against the service.
#pragma once

#include <span>
#include <string_view>

#include "math_basic.h"

namespace peers {

inline constexpr uint8_t TILT_POINTS = 13;

struct craft_mode_t {
    fp32 rc_scale;
    fp32 tilt_range;  // degrees
    fp32 tilt_rate;   // degrees/s
    fp32 yaw_rate;    // degrees/s
    fp32 climb;       // m/s
    fp32 sink;        // m/s, negative
    fp32 climb_gain;  // m/s2
    fp32 sink_gain;   // m/s2, negative
};

struct craft_t {
    const char* name;
    fp32 speeds[TILT_POINTS];  // m/s at the angles of TILT_ANGLES
    craft_mode_t modes[2];     // normal, sport
};

extern const fp32 TILT_ANGLES[TILT_POINTS];  // degrees

using drones_t = std::span<const craft_t>;

// All airframes with a table.
drones_t known_drones();

// "rv880" or "qx520", upper or lower case; empty for any other.
drones_t drone_named(std::string_view name);

// Speed that the tilt reaches, both positive.
fp32 speed_at_tilt(const craft_t& craft, fp32 degrees);

}  // namespace peers
