// One flight as it lies on the disk: its record, and what may lie beside it.
#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "failure.h"
#include "flight_report/flight_story.h"
#include "flight_report/step_motions.h"
#include "flight_report/sweep_measures.h"

namespace cli {

struct flight_run_t {
    std::string path;                                   // of the record
    std::unique_ptr<const peers::FlightRecord> record;  // the rows look into it
    std::optional<peers::FlightRows> rows;
    std::optional<peers::service_log_t> log;
    json tag;                          // content of the tag file; null without it
    std::vector<std::string> missing;  // what does not lie beside the record, in words

    peers::flight_story_t story;
    std::vector<peers::step_motion_t> steps;
    std::vector<peers::sweep_measure_t> sweeps;

    double take_off_s() const;  // of the record; its first row when it did not take off
};

// A record, or a folder with one: the one written last. The service's log, its tag file and the motion list are looked
// for beside it. None with `failure` filled.
std::optional<flight_run_t> read_flight(const std::string& path, failure_t& failure);

// Where a flight began, in degrees: the tag file says it when there was a fix.
struct start_point_t {
    double latitude;
    double longitude;
};
std::optional<start_point_t> start_of(const json& tag);

}  // namespace cli
