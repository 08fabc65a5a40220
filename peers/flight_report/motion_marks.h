// The motions that a flight record marks.
#pragma once

#include <vector>

#include "flight_report/flight_story.h"

namespace peers {

// A motion whose end is not marked lasts to `end_s`. Marks that say something else are stepped over.
std::vector<motion_span_t> motions_of(const FlightRecord& record, double end_s);

}  // namespace peers
