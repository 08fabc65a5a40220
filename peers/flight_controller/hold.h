// Standing still in the air: each axis brakes first and then holds where it came to rest.
#pragma once

#include <optional>

#include "flight_controller/control_loops.h"

namespace peers {

class Hold {
public:
    // The axis moves on purpose: what it holds next is where it will have stopped.
    void free_horizontal() { place_.reset(); }
    void free_vertical() { height_.reset(); }
    void free_yaw() { yaw_.reset(); }
    void free_all();

    void horizontal(const motion_t& motion, setpoint_t& setpoint);
    void vertical(const motion_t& motion, setpoint_t& setpoint);
    void yaw(const motion_t& motion, setpoint_t& setpoint);
    void all(const motion_t& motion, setpoint_t& setpoint);

    // Known beforehand: no braking.
    void hold_place(const vec2_t& place) { place_ = place; }
    void hold_height(double height) { height_ = height; }

private:
    std::optional<vec2_t> place_;   // m, north and east
    std::optional<double> height_;  // m
    std::optional<double> yaw_;     // rad
};

}  // namespace peers
