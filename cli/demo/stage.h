// Where the demonstration plays: the simulated peers, the service as a process of its own, and the steps shown.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "app/app_peer.h"
#include "common/version_query.h"
#include "demo/service_process.h"
#include "demo/steps.h"
#include "factory/test_station.h"
#include "flight_controller/flight_controller.h"
#include "flight_controller/flight_log.h"
#include "waiter.h"

namespace cli {

struct demo_options_t {
    std::string service;                       // path of the program
    std::string log = "/tmp/vela_flight.log";  // where its output goes
    uint64_t size = 1u << 20;                  // bytes of the database
    uint64_t rate = 400u << 10;                // bytes a second: the link of a phone
    std::string areas;                         // GeoJSON file of restricted areas
    std::string list;                          // motion list to be flown; empty: the aircraft stands
    std::string flight_log = "/tmp/flight.ulg";
};

class Stage {
public:
    // `events`: what the factory station hears.
    Stage(const context_t& context, const demo_options_t& options, peers::station_events_t events = {});
    ~Stage();

    // Peers, service and subscription; false when a step failed.
    bool open();
    bool close();

    // Runs a step only while the service does; a service that ended by itself is its failure.
    bool step(const std::string& name, const std::function<step_result_t()>& what);

    // Up to five seconds, or until a signal.
    wake wait_for(const std::function<bool()>& condition,
                  std::chrono::milliseconds step = std::chrono::milliseconds(10));

    // What the service answers; a signal counts as an interruption.
    peers::service_versions_t ask(uint32_t tries);

    step_result_t failed_see_log(const std::string& text) const;  // with the last lines of the service's log

    const context_t& context() const { return context_; }
    const demo_options_t& options() const { return options_; }
    peers::FlightController& controller() { return *controller_; }
    const peers::aircraft_state_t& aircraft() const { return aircraft_; }
    peers::AppPeer& app() { return *app_; }
    peers::TestStation& station() { return *station_; }
    bool close_flight_log() { return flight_log_ && flight_log_->close(); }
    Waiter& waiter() { return waiter_; }
    const Steps& steps() const { return steps_; }
    double first_answer_seconds() const { return first_answer_s_; }
    const peers::nfz_version_t& database_at_start() const { return database_at_start_; }
    bool interrupted() const { return interrupted_; }
    void interrupt() { interrupted_ = true; }
    bool quiet() const;  // no progress bars

private:
    step_result_t start_peers();
    peers::station_events_t recorded_events() const;
    std::unique_ptr<peers::FlightController> open_controller(const peers::bus_name_t& name,
                                                             peers::bus_open_error_t& error);
    step_result_t start_service();
    step_result_t see_subscription();
    step_result_t stop_service();

    const context_t& context_;
    const demo_options_t options_;
    Waiter waiter_;
    Steps steps_;
    peers::station_events_t events_;
    std::unique_ptr<peers::FlightLog> flight_log_;  // outlives controller and station, which write it
    std::unique_ptr<peers::FlightController> controller_;
    std::unique_ptr<peers::TestStation> station_;
    std::unique_ptr<peers::AppPeer> app_;
    ServiceProcess service_;
    const peers::aircraft_state_t aircraft_;
    peers::nfz_version_t database_at_start_ = {};
    double first_answer_s_ = 0;
    bool interrupted_ = false;
};

}  // namespace cli
