// External control: turns frames of sticks into what the loops are to do.
#pragma once

#include <optional>

#include "flight_controller/hold.h"
#include "flight_controller/stick_command.h"

namespace peers {

class StickPilot {
public:
    // External control begins; the reference frame is this heading (rad). Holds until the first frame.
    void begin(double heading);
    // `now` and the times below are seconds of one clock.
    void take(const stick_command_t& sticks, const motion_t& motion, double now);
    // The last frame is too old: from here on the aircraft holds. True once for each loss.
    bool lose(double now);

    // `ground` is the altitude of height 0.
    setpoint_t setpoint(const motion_t& motion, double ground);

private:
    double heading_of_frame(const motion_t& motion) const;
    void horizontal(const motion_t& motion, setpoint_t& setpoint);
    void fly_to_target(const motion_t& motion, setpoint_t& setpoint);
    void fly_at_speed(const motion_t& motion, setpoint_t& setpoint);
    void tilt(const motion_t& motion, setpoint_t& setpoint);
    void vertical(const motion_t& motion, double ground, setpoint_t& setpoint);
    void yaw(const motion_t& motion, setpoint_t& setpoint);

    std::optional<stick_command_t> sticks_;
    double taken_at_ = 0;
    double reference_heading_ = 0;
    vec2_t target_;  // m, north and east, of position sticks
    Hold hold_;
};

}  // namespace peers
