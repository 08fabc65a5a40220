#include "flight_controller/control_loops.h"

#include <limits>

namespace peers {
namespace {

constexpr double NOT_RUN = std::numeric_limits<double>::quiet_NaN();
constexpr double LEAST_UPRIGHT = 0.5;  // cosine; beyond, more thrust would not mean more lift

double bounded(double value, double limit)
{
    return std::clamp(value, -limit, limit);
}

}  // namespace

ControlLoops::added_t ControlLoops::placed(const excitation_t& excitation)
{
    added_t added;
    const double value = excitation.value;
    const double angle = value * RADIANS_PER_DEGREE;
    const bool inside = excitation.point != 0;
    switch (excitation.loop) {
        case kAngVelX:
            (inside ? added.torque : added.rates).x = angle;
            break;
        case kAngVelY:
            (inside ? added.torque : added.rates).y = angle;
            break;
        case kAngVelZ:
            (inside ? added.torque : added.rates).z = angle;
            break;
        case kAttiX:
        case kAttiTilt:
        case kAttiStbX:
            (inside ? added.rates.x : added.tilt.x) = angle;
            break;
        case kAttiY:
        case kAttiStbY:
            (inside ? added.rates.y : added.tilt.y) = angle;
            break;
        case kAttiZ:
            (inside ? added.rates.z : added.yaw) = angle;
            break;
        case kVelX:
        case kVelTilt:
            (inside ? added.acceleration : added.velocity).x = value;
            break;
        case kVelY:
            (inside ? added.acceleration : added.velocity).y = value;
            break;
        case kPosX:
        case kPosTilt:
            (inside ? added.velocity : added.position).x = value;
            break;
        case kPosY:
            (inside ? added.velocity : added.position).y = value;
            break;
        case kVertAcc:
            added.climb_acceleration = value;
            break;
        case kVertVel:
            (inside ? added.climb_acceleration : added.climb) = value;
            break;
        case kVertPos:
            (inside ? added.climb : added.height) = value;
            break;
        case kLoopNull:
        case kLoopNum:
            break;
    }
    return added;
}

motor_command_t ControlLoops::step(const setpoint_t& setpoint, const motion_t& motion, const excitation_t& excitation)
{
    commands_ = {{NOT_RUN, NOT_RUN},
                 {NOT_RUN, NOT_RUN},
                 {NOT_RUN, NOT_RUN},
                 {NOT_RUN, NOT_RUN, NOT_RUN},
                 {NOT_RUN, NOT_RUN, NOT_RUN},
                 NOT_RUN,
                 NOT_RUN,
                 NOT_RUN};
    if (!setpoint.motors) return {};
    added_ = placed(excitation);
    feel_wind(motion);
    const vec3_t angles = angles_of(motion.attitude);
    lift_ = GRAVITY + climb_acceleration_for(setpoint, motion);
    const vec3_t rates = rates_for(setpoint, motion, angles);

    motor_command_t command;
    command.thrust = lift_ / std::max(std::cos(angles.x) * std::cos(angles.y), LEAST_UPRIGHT);
    const vec3_t error = rates - motion.rates;
    command.acceleration.x = bounded(gain_ * TILT_GAINS.inner * error.x + added_.torque.x, MAX_ROLL_ACC);
    command.acceleration.y = bounded(gain_ * TILT_GAINS.inner * error.y + added_.torque.y, MAX_ROLL_ACC);
    command.acceleration.z = bounded(gain_ * YAW_GAINS.inner * error.z + added_.torque.z, MAX_YAW_ACC);
    return command;
}

// The wind's part only: the drag of the own speed is known, and believing it late would bend the step responses.
void ControlLoops::feel_wind(const motion_t& motion)
{
    const vec3_t wind = motion.air + DRAG * motion.velocity;
    wind_ = wind_ + (STEP_S / WIND_FILTER_S) * (wind - wind_);
}

vec2_t ControlLoops::speed_for(const setpoint_t& setpoint, const motion_t& motion, double heading)
{
    vec2_t speed = turned(setpoint.velocity, -heading) + added_.velocity;
    if (setpoint.horizontal == horizontal_level::position) {
        commands_.position = setpoint.position + turned(added_.position, heading);
        const vec2_t away = commands_.position - vec2_t{motion.position.x, motion.position.y};
        speed = speed + gain_ * POSITION_GAIN * turned(away, -heading);
    }
    return at_most(speed, setpoint.max_speed);
}

vec2_t ControlLoops::tilt_for(const setpoint_t& setpoint, const motion_t& motion, double heading)
{
    vec2_t tilt = setpoint.tilt + added_.tilt;
    if (setpoint.horizontal < horizontal_level::velocity) return tilt;
    const vec2_t velocity = turned({motion.velocity.x, motion.velocity.y}, -heading);
    const vec2_t wind = turned({wind_.x, wind_.y}, -heading);
    commands_.velocity = speed_for(setpoint, motion, heading);
    commands_.acceleration = gain_ * SPEED_GAIN * (commands_.velocity - velocity) + DRAG * velocity - wind +
                             turned(setpoint.acceleration, -heading) + added_.acceleration;
    const vec2_t asked = at_most(commands_.acceleration, lift_ * std::tan(MAX_TILT));
    return tilt + vec2_t{std::atan2(asked.y, std::hypot(asked.x, lift_)), std::atan2(-asked.x, lift_)};
}

double ControlLoops::yaw_rate_for(const setpoint_t& setpoint, double heading)
{
    double rate = setpoint.yaw_rate;
    if (setpoint.yaw_mode == yaw_level::angle) {
        commands_.angles.z = wrapped(setpoint.yaw + added_.yaw);
        rate += gain_ * YAW_GAINS.outer * wrapped(commands_.angles.z - heading);
    }
    return bounded(rate, MAX_YAW_RATE);
}

// The tilt is corrected at the heading of the moment, so that a slow turn does not hold it up.
vec3_t ControlLoops::rates_for(const setpoint_t& setpoint, const motion_t& motion, const vec3_t& angles)
{
    vec3_t rates = {setpoint.rates.x, setpoint.rates.y, 0};
    if (setpoint.horizontal >= horizontal_level::tilt) {
        const vec2_t tilt = at_most(tilt_for(setpoint, motion, angles.z), MAX_TILT);
        commands_.angles.x = tilt.x;
        commands_.angles.y = tilt.y;
        const vec3_t error = rotation_of(inverse(motion.attitude) * quat_of_angles({tilt.x, tilt.y, angles.z}));
        rates = rates + gain_ * TILT_GAINS.outer * vec3_t{error.x, error.y, 0};
    }
    const vec3_t turn = {0, 0, yaw_rate_for(setpoint, angles.z)};
    const vec3_t asked = rates + rotated(inverse(motion.attitude), turn) + added_.rates;
    commands_.rates = {bounded(asked.x, MAX_ROLL_RATE), bounded(asked.y, MAX_ROLL_RATE),
                       bounded(asked.z, MAX_YAW_RATE)};
    return commands_.rates;
}

double ControlLoops::climb_acceleration_for(const setpoint_t& setpoint, const motion_t& motion)
{
    double acceleration = setpoint.climb_acceleration + added_.climb_acceleration;
    if (setpoint.vertical != vertical_level::acceleration) {
        double climb = setpoint.climb + added_.climb;
        if (setpoint.vertical == vertical_level::height) {
            commands_.height = setpoint.height + added_.height;
            climb += gain_ * HEIGHT_GAINS.outer * (commands_.height + motion.position.z);
        }
        commands_.climb = bounded(climb, MAX_CLIMB);
        acceleration +=
            gain_ * HEIGHT_GAINS.inner * (commands_.climb + motion.velocity.z) - DRAG * motion.velocity.z + wind_.z;
    }
    commands_.climb_acceleration = bounded(acceleration, MAX_CLIMB_ACC);
    return commands_.climb_acceleration;
}

}  // namespace peers
