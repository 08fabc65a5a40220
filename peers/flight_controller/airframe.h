// The body of the simulated aircraft: motors, gravity, air and ground, and what its sensors make of the motion.
#pragma once

#include <cstdint>
#include <random>

#include "flight_controller/aircraft_math.h"

namespace peers {

struct wind_t {
    vec2_t mean;       // m/s, north and east, where it blows to
    double gusts = 0;  // m/s, standard deviation on each axis
};

// Motion, or what the sensors say of it.
struct motion_t {
    vec3_t position;  // m north, east, down of the start
    vec3_t velocity;  // m/s north, east, down
    quat_t attitude;
    vec3_t rates;  // rad/s about the body's axes
    // Acceleration that the thrust does not explain: the air, and mass that nobody reckoned with. North, east, down.
    vec3_t air;
    double thrust = 0;  // m/s2, up along the body; the motors report their speed
};

struct motor_command_t {
    double thrust = 0;    // m/s2, up along the body
    vec3_t acceleration;  // rad/s2, about the body's axes
};

class Airframe {
public:
    // Stands on the ground, turned to `heading` (rad). `mass`, inertia alike: as a factor of what the motors' commands
    // are reckoned for. The same arguments and commands give the same flight.
    Airframe(const wind_t& wind, bool noise, uint64_t seed, double heading, double mass = 1);

    void step(const motor_command_t& command);

    const motion_t& truth() const { return truth_; }
    const motion_t& sensed() const { return sensed_; }
    bool on_ground() const { return on_ground_; }

private:
    void run_motors(const motor_command_t& command);
    void move();
    void touch_ground();
    void blow();
    void sense();
    double normal(double deviation);

    const wind_t wind_;
    const bool noisy_;
    const double mass_;
    std::mt19937_64 random_;
    std::normal_distribution<double> normal_;
    motion_t truth_;
    motion_t sensed_;
    vec3_t torque_;          // rad/s2
    vec3_t gust_;            // m/s
    vec3_t position_error_;  // m, wanders
    bool on_ground_ = true;
};

}  // namespace peers
