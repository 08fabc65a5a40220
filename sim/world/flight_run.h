// One factory flight on the virtual clock: the service, a simulated aircraft and a station, from switch to landing.
#pragma once

#include <functional>
#include <string>

#include "factory/test_watch.h"
#include "flight_controller/aircraft_model.h"
#include "platform/platform.h"
#include "world/flight_figures.h"
#include "world/service_module.h"

namespace sim {

struct flight_plan_t {
    std::string list;  // text of the motion list
    peers::aircraft_config_t aircraft;
    double latitude = 0;  // radians, where it stands
    double longitude = 0;
    uint64_t limit_us = 3'600'000'000;  // of flight; longer is given up
};

struct flight_hooks_t {
    // Each may be empty. A heartbeat that tells something new, with the time since the switch.
    std::function<void(const afqt_heart_beat_t& beat, uint64_t time_us)> news;
    std::function<void(const afqt_heart_beat_t& beat)> heartbeat;
    std::function<void(const peers::flight_row_t& row)> row;
};

struct flight_end_t {
    peers::test_report_t report;
    double seconds = 0;  // of flight, from the switch to the report's end
    bool motors_off = false;
    flight_figures_t figures;
    uint64_t events = 0;  // of the virtual clock
};

// In a process with private files and no peers open. `error` is filled when the flight could not begin.
flight_end_t fly(Platform& platform, ServiceModule& service, const flight_plan_t& plan, const flight_hooks_t& hooks,
                 std::string& error);

}  // namespace sim
