// What a frame of sticks says, whichever of the two formats it came in.
#pragma once

#include <optional>

#include "afqt_wire.h"
#include "common/records.h"
#include "flight_controller/aircraft_math.h"

namespace peers {

// Sticks as they came: degrees, degrees per second, metres, m/s or m/s2 by mode.
struct stick_command_t {
    horiz_mode_t horizontal_mode = HORIZ_MODE_VEL;
    vert_mode_t vertical_mode = VERT_MODE_VEL;
    yaw_mode_t yaw_mode = YAW_MODE_RATE;
    ctrl_level_frame_t frame = BODY_LEVEL;
    bool stabilized = true;
    vec2_t horizontal;    // roll and pitch, or x and y
    double vertical = 0;  // up; a position is metres above sea, as the data bag reports the altitude
    double yaw = 0;
    // Added inside the loops; zero unless the frame enables them.
    vec2_t forward_velocity;
    vec2_t forward_acceleration;
    double forward_climb = 0;
    double forward_climb_acceleration = 0;
    bool brake = false;  // the horizontal sticks do not count
};

// None for a payload of neither format, an unknown mode or frame, or a number that is not finite.
std::optional<stick_command_t> read_sticks(bytes_view payload);

}  // namespace peers
