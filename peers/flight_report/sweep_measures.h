// The sweeps of a flight, found in its record and measured.
#pragma once

#include <string>
#include <vector>

#include "flight_report/flight_rows.h"
#include "flight_report/frequency_response.h"
#include "flight_report/loop_margins.h"

namespace peers {

struct sweep_measure_t {
    double begin = 0;  // s
    double end = 0;
    uint8_t loop = 0;
    uint8_t point = 0;  // 0: on the loop's command; 1: inside, then the response is of the value to the excitation
    double low_hz = 0;
    double high_hz = 0;
    std::vector<response_point_t> response;
    loop_margins_t margins;
    std::string why_not;  // there is no response; empty when there is one
};

std::vector<sweep_measure_t> measure_sweeps(const FlightRows& rows);

}  // namespace peers
