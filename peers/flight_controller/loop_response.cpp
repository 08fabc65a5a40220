#include "flight_controller/loop_response.h"

#include <cmath>
#include <numbers>

namespace peers {
namespace {

// A model step earlier.
frequency_response_t before(double hz)
{
    return std::polar(1.0, -2 * std::numbers::pi * hz * STEP_S);
}

frequency_response_t sum(double hz)
{
    return STEP_S / (1.0 - before(hz));
}

frequency_response_t motors(double hz)
{
    const double kept = std::exp(-STEP_S / MOTOR_LAG_S);
    return (1 - kept) / (1.0 - kept * before(hz));
}

// The loop looks at the value that the step before left.
frequency_response_t closed(const frequency_response_t& open, double hz)
{
    return open / (1.0 + open * before(hz));
}

}  // namespace

double rate_step_response(const cascade_gains_t& gains, double time)
{
    if (time <= 0) return 0;
    const double half = 0.5 / MOTOR_LAG_S;
    const double square = half * half - gains.inner / MOTOR_LAG_S;
    const double root = std::sqrt(std::fabs(square));
    if (square < 0) {
        return 1 - std::exp(-half * time) * (std::cos(root * time) + half / root * std::sin(root * time));
    }
    return 1 - std::exp(-half * time) * (std::cosh(root * time) + half / root * std::sinh(root * time));
}

double angle_step_response(const cascade_gains_t& gains, double time)
{
    if (time <= 0) return 0;
    const double a = gains.slow, d = gains.fast - gains.slow;
    if (std::fabs(d) < 1e-6) return 1 - std::exp(-a * time) * (1 + a * time + a * a * time * time / 2);
    const double fast = a * a / (d * d);
    const double slope = a * gains.fast / d;
    return 1 - std::exp(-a * time) * (1 - fast + slope * time) - fast * std::exp(-gains.fast * time);
}

// Two poles at a quarter of the tilt loop's, two more beside 5/4 of it.
double speed_step_response(double time)
{
    if (time <= 0) return 0;
    const double t = TILT_GAINS.slow * time;
    const double b = std::sqrt(0.125);
    return 1 - (5.0 / 6 + 3 * t / 8) * std::exp(-t / 4) -
           std::exp(-1.25 * t) / 6 * (std::cos(b * t) + std::sqrt(0.5) * std::sin(b * t));
}

double climb_acceleration_step_response(double time)
{
    return time <= 0 ? 0 : 1 - std::exp(-time / MOTOR_LAG_S);
}

frequency_response_t rate_frequency_response(const cascade_gains_t& gains, double hz)
{
    return closed(gains.inner * motors(hz) * sum(hz), hz);
}

frequency_response_t angle_frequency_response(const cascade_gains_t& gains, double hz)
{
    return closed(gains.outer * rate_frequency_response(gains, hz) * sum(hz), hz);
}

// The thrust points where the tilt was a step before.
frequency_response_t speed_frequency_response(double hz)
{
    return closed(SPEED_GAIN * angle_frequency_response(TILT_GAINS, hz) * before(hz) * sum(hz), hz);
}

frequency_response_t position_frequency_response(double hz)
{
    return closed(POSITION_GAIN * speed_frequency_response(hz) * sum(hz), hz);
}

frequency_response_t climb_acceleration_frequency_response(double hz)
{
    return motors(hz);
}

}  // namespace peers
