// The loops of the simulated aircraft, from the position down to the motors. Each loop adds what the one around it asks
// for to its own command; an excitation is added in between, where a sweep wants it.
#pragma once

#include "flight_controller/aircraft_gains.h"
#include "flight_controller/airframe.h"
#include "flight_controller/sweep_signal.h"

namespace peers {

enum class horizontal_level { rate, tilt, velocity, position };
enum class vertical_level { acceleration, velocity, height };
enum class yaw_level { rate, angle };

// The outermost loop that runs on each axis, and the commands. Those inside the outermost one are added to what it asks
// for: feed-forward.
struct setpoint_t {
    bool motors = false;  // not: everything else does not count
    horizontal_level horizontal = horizontal_level::position;
    vec2_t position;      // m, north and east
    vec2_t velocity;      // m/s, north and east
    vec2_t acceleration;  // m/s2, north and east
    vec2_t tilt;          // rad, roll and pitch
    vec2_t rates;         // rad/s, roll and pitch
    double max_speed = MAX_SPEED;

    vertical_level vertical = vertical_level::height;
    double height = 0;              // m
    double climb = 0;               // m/s
    double climb_acceleration = 0;  // m/s2

    yaw_level yaw_mode = yaw_level::angle;
    double yaw = 0;       // rad
    double yaw_rate = 0;  // rad/s
};

// What each loop was told in the last step, excitation included. Not a number where the loop did not run.
struct loop_commands_t {
    vec2_t position;      // m, north and east
    vec2_t velocity;      // m/s, forward and right
    vec2_t acceleration;  // m/s2, forward and right
    vec3_t angles;        // rad
    vec3_t rates;         // rad/s
    double height = 0;
    double climb = 0;
    double climb_acceleration = 0;
};

// A sweep's value now, and where it goes.
struct excitation_t {
    AfqtCtrlLoopEnum loop = kLoopNull;
    uint8_t point = 0;
    double value = 0;  // degrees for angles
};

class ControlLoops {
public:
    // `gain`: factor on the gains of all loops.
    explicit ControlLoops(double gain = 1) : gain_(gain) {}

    motor_command_t step(const setpoint_t& setpoint, const motion_t& motion, const excitation_t& excitation);

    const loop_commands_t& commands() const { return commands_; }

private:
    vec2_t tilt_for(const setpoint_t& setpoint, const motion_t& motion, double heading);
    vec2_t speed_for(const setpoint_t& setpoint, const motion_t& motion, double heading);
    double climb_acceleration_for(const setpoint_t& setpoint, const motion_t& motion);
    vec3_t rates_for(const setpoint_t& setpoint, const motion_t& motion, const vec3_t& angles);
    double yaw_rate_for(const setpoint_t& setpoint, double heading);
    void feel_wind(const motion_t& motion);

    const double gain_;
    vec3_t wind_;            // m/s2, what the air would do to a hovering aircraft, smoothed
    double lift_ = GRAVITY;  // m/s2, upward part of the thrust asked for
    loop_commands_t commands_;
    // The excitation of this step by the quantity that it is added to; angles in rad.
    struct added_t {
        vec2_t position, velocity, acceleration, tilt;
        vec3_t rates, torque;
        double yaw = 0, height = 0, climb = 0, climb_acceleration = 0;
    };
    static added_t placed(const excitation_t& excitation);
    added_t added_;
};

}  // namespace peers
