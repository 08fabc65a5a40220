#include "flight_controller/loop_response.h"

#include <cmath>

namespace peers {

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

}  // namespace peers
