// What the loops of the simulated aircraft answer to a unit step of their command, as formulas.
#pragma once

#include "flight_controller/aircraft_gains.h"

namespace peers {

// All take seconds since the step and are 0 before it. Exact for small signals without noise, wind and drag.
double rate_step_response(const cascade_gains_t& gains, double time);   // roll, pitch, yaw and climb rate
double angle_step_response(const cascade_gains_t& gains, double time);  // roll, pitch, yaw and height
double speed_step_response(double time);                                // over ground, forward and to the right
double climb_acceleration_step_response(double time);

}  // namespace peers
