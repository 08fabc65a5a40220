// A control loop's command and the value that should follow it, out of a flight record.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "afqt_wire.h"
#include "flight_report/flight_rows.h"

namespace peers {

struct loop_signals_t {
    std::vector<double> times;  // s
    std::vector<double> commands;
    std::vector<double> values;
    std::vector<double> excitations;  // of the sweep, 0 without one
};

const char* loop_unit(uint8_t loop);  // "°", "m/s"; empty for no loop

// Rows `begin` to before `end`. Positions are taken along the heading at `begin`, headings do not jump at 180°. The
// climb acceleration, which no sensor tells, is the slope of the climb. Empty for a number that is no loop.
loop_signals_t signals_of(const FlightRows& rows, uint8_t loop, size_t begin, size_t end);

// A loop that runs around this one and would counter a step of its command, so that the step cannot be judged.
bool held_from_outside(const FlightRows& rows, uint8_t loop, size_t row);

}  // namespace peers
