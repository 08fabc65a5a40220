// Bandwidth and stability margins of a loop, out of its measured response from command to value.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "flight_report/frequency_response.h"

namespace peers {

// Points of less coherence have no part in it.
inline constexpr double LEAST_COHERENCE = 0.6;

struct loop_margins_t {
    std::optional<double> bandwidth_hz;  // where the response falls below -3 dB

    // Of the open loop L = T / (1 - T): how far it is from -1 where its size is 1 and where its phase is -180 degrees.
    std::optional<double> crossover_hz;
    std::optional<double> phase_margin_deg;
    std::optional<double> phase_crossover_hz;
    std::optional<double> gain_margin_db;

    std::string remark;  // why some of them are missing; empty when none is
};

// `points` with rising frequencies.
loop_margins_t margins_of(std::span<const response_point_t> points);

}  // namespace peers
