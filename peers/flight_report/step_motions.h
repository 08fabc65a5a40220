// The step motions of a flight, each step measured.
#pragma once

#include <string>
#include <vector>

#include "flight_record/step_response.h"
#include "flight_report/flight_rows.h"
#include "flight_report/flight_story.h"
#include "flight_report/loop_signals.h"

namespace peers {

struct step_motion_t {
    motion_span_t motion;
    loop_signals_t signals;  // while the loop was stepped
    std::vector<step_measure_t> steps;
    std::string why_not;  // there are none; empty when there are
};

std::vector<step_motion_t> measure_step_motions(const FlightRows& rows, const std::vector<motion_span_t>& motions);

}  // namespace peers
