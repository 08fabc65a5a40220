// What was measured in a flight, as JSON and as text.
#pragma once

#include "report/flight_run.h"

namespace cli {

json figures_json(const flight_run_t& run);

void print_figures(const flight_run_t& run);

// `digits` significant ones, so that pages stay small; null for what is not a number.
json short_number(double value, int digits = 5);

}  // namespace cli
