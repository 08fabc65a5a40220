// A flight told from its record: modes, motions, where it went and how it ended.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "flight_report/flight_rows.h"
#include "flight_report/service_log.h"

namespace peers {

struct span_t {
    double begin = 0;  // s of the record
    double end = 0;
    std::string text;
};

// Marks come from heartbeats, up to a second late.
struct motion_span_t {
    span_t span;
    unsigned number = 0;    // in the list, from 1
    uint8_t motion_id = 0;  // motion_id_t
    uint8_t loop = 0;       // AfqtCtrlLoopEnum
};

enum class flight_verdict {
    flown,       // the list to its end, and landed
    stopped,     // external control was given back before its end
    failed,      // the service gave up
    not_flown,   // it did not take off
    unfinished,  // the record ends in the air
};

const char* verdict_name(flight_verdict verdict);  // as in --json

struct flight_story_t {
    flight_verdict verdict = flight_verdict::not_flown;
    std::string what;                  // one sentence
    std::vector<std::string> reasons;  // more of them, in words
    std::vector<span_t> modes;         // of the flight controller
    std::vector<span_t> states;        // of the service, from its log; empty without it
    std::vector<motion_span_t> motions;
    double seconds = 0;  // in the air
    double path_m = 0;
    double highest_m = 0;
    double farthest_m = 0;  // from the start, level
    double worst_tilt_deg = 0;
    std::optional<double> landed_m;  // from the start, level; none when it did not land
};

// `list_motions`: entries of the motion list, when it is known.
flight_story_t tell_flight(const FlightRecord& record, const FlightRows& rows, const service_log_t* log,
                           std::optional<size_t> list_motions);

}  // namespace peers
