#include "flight_controller/airframe.h"

#include "flight_controller/aircraft_gains.h"

namespace peers {
namespace {

// How much harder it is to turn about each axis than about the first.
constexpr vec3_t INERTIA = {1.0, 1.1, 1.7};
constexpr double MAX_THRUST = 2 * GRAVITY;

constexpr double GUST_TIME_S = 3;
constexpr double RATE_NOISE = 0.002;          // rad/s
constexpr double ANGLE_NOISE = 0.0003;        // rad
constexpr double SPEED_NOISE = 0.01;          // m/s
constexpr double POSITION_NOISE = 0.003;      // m
constexpr double POSITION_WANDER = 0.015;     // m, beside it
constexpr double POSITION_WANDER_TIME_S = 5;  // s

// A first-order step of exactly one model step.
double lagged(double value, double target, double time_constant)
{
    return target + (value - target) * std::exp(-STEP_S / time_constant);
}

}  // namespace

Airframe::Airframe(const wind_t& wind, bool noise, uint64_t seed, double heading, double mass)
    : wind_(wind), noisy_(noise), mass_(mass), random_(seed)
{
    truth_.attitude = quat_of_angles({0, 0, heading});
    sensed_ = truth_;
}

void Airframe::step(const motor_command_t& command)
{
    blow();
    run_motors(command);
    move();
    touch_ground();
    sense();
}

void Airframe::run_motors(const motor_command_t& command)
{
    truth_.thrust = lagged(truth_.thrust, std::clamp(command.thrust, 0.0, MAX_THRUST), MOTOR_LAG_S);
    torque_.x = lagged(torque_.x, command.acceleration.x, MOTOR_LAG_S);
    torque_.y = lagged(torque_.y, command.acceleration.y, MOTOR_LAG_S);
    torque_.z = lagged(torque_.z, command.acceleration.z, MOTOR_LAG_S);
}

void Airframe::move()
{
    const vec3_t wind = {wind_.mean.x, wind_.mean.y, 0};
    const vec3_t lift = rotated(truth_.attitude, {0, 0, -truth_.thrust});
    const vec3_t drag = -DRAG * (truth_.velocity - wind - gust_);
    truth_.air = (1 / mass_) * drag + (1 / mass_ - 1) * lift;
    truth_.velocity = truth_.velocity + STEP_S * (lift + truth_.air + vec3_t{0, 0, GRAVITY});
    truth_.position = truth_.position + STEP_S * truth_.velocity;

    const vec3_t spin = {INERTIA.x * truth_.rates.x, INERTIA.y * truth_.rates.y, INERTIA.z * truth_.rates.z};
    const vec3_t gyro = cross(truth_.rates, spin);
    const vec3_t turn = {torque_.x / mass_ - gyro.x / INERTIA.x, torque_.y / mass_ - gyro.y / INERTIA.y,
                         torque_.z / mass_ - gyro.z / INERTIA.z};
    truth_.rates = truth_.rates + STEP_S * turn;
    truth_.attitude = normalized(truth_.attitude * quat_of(STEP_S * truth_.rates));
}

// The ground is level at height 0; on it the aircraft stands upright and still.
void Airframe::touch_ground()
{
    on_ground_ = truth_.position.z >= 0 && truth_.velocity.z >= 0;
    if (!on_ground_) return;
    truth_.position.z = 0;
    truth_.velocity = {};
    truth_.rates = {};
    truth_.air = {};
    torque_ = {};
    truth_.attitude = quat_of_angles({0, 0, angles_of(truth_.attitude).z});
}

void Airframe::blow()
{
    if (wind_.gusts <= 0) return;
    const double fresh = wind_.gusts * std::sqrt(2 * STEP_S / GUST_TIME_S);
    gust_ = (1 - STEP_S / GUST_TIME_S) * gust_ + vec3_t{normal(fresh), normal(fresh), 0};
}

void Airframe::sense()
{
    sensed_ = truth_;
    if (!noisy_) return;
    const double fresh = POSITION_WANDER * std::sqrt(2 * STEP_S / POSITION_WANDER_TIME_S);
    position_error_ =
        (1 - STEP_S / POSITION_WANDER_TIME_S) * position_error_ + vec3_t{normal(fresh), normal(fresh), normal(fresh)};
    const auto noise = [this](double deviation) {
        return vec3_t{normal(deviation), normal(deviation), normal(deviation)};
    };
    sensed_.position = sensed_.position + position_error_ + noise(POSITION_NOISE);
    sensed_.velocity = sensed_.velocity + noise(SPEED_NOISE);
    sensed_.rates = sensed_.rates + noise(RATE_NOISE);
    sensed_.attitude = normalized(sensed_.attitude * quat_of(noise(ANGLE_NOISE)));
}

double Airframe::normal(double deviation)
{
    return deviation * normal_(random_);
}

}  // namespace peers
