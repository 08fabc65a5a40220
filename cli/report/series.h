// The curves of a flight for drawing: as many values as a plot has pixels, not as many as there are rows.
#pragma once

#include "report/flight_run.h"

namespace cli {

// Bins of equal length that the curves of all flights of a page share, in seconds since the take-off.
struct bins_t {
    double begin = 0;
    double end = 0;
    size_t count = 1200;

    json times() const;  // two for each bin
};

// From the first to the last row of any of them.
bins_t bins_for(const std::vector<const flight_run_t*>& runs);

// "roll", "roll_cmd", …: of each bin its least and its greatest value in the order in which they came, null where there
// is none.
json curves_of(const flight_run_t& run, const bins_t& bins);

// [[north, east, height], …] in metres of the start; a point at least every half second.
json path_of(const flight_run_t& run);

// The signals of a step motion: [[times], [commands], [values]].
json step_curves(const peers::loop_signals_t& signals);

}  // namespace cli
