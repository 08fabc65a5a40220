// What the loops of the simulated aircraft answer to a unit step of their command, and to sines, as formulas.
#pragma once

#include <complex>

#include "flight_controller/aircraft_gains.h"

namespace peers {

// All take seconds since the step and are 0 before it. Exact for small signals without noise, wind and drag.
double rate_step_response(const cascade_gains_t& gains, double time);   // roll, pitch, yaw and climb rate
double angle_step_response(const cascade_gains_t& gains, double time);  // roll, pitch, yaw and height
double speed_step_response(double time);                                // over ground, forward and to the right
double climb_acceleration_step_response(double time);

// The same loops on sines: value by command of a row of the flight record, at `hz` above 0. The model's steps of a
// millisecond are part of them: at 5 Hz they turn the phase of a tilt loop by 5 degrees.
using frequency_response_t = std::complex<double>;
frequency_response_t rate_frequency_response(const cascade_gains_t& gains, double hz);
frequency_response_t angle_frequency_response(const cascade_gains_t& gains, double hz);
frequency_response_t speed_frequency_response(double hz);
frequency_response_t position_frequency_response(double hz);  // over ground
frequency_response_t climb_acceleration_frequency_response(double hz);

}  // namespace peers
