// The main job from end to end: a database travels from the app through the service to the flight controller.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "app/app_peer.h"
#include "common/version_query.h"
#include "console.h"
#include "demo/service_process.h"
#include "demo/steps.h"
#include "flight_controller/flight_controller.h"
#include "waiter.h"

namespace cli {

struct demo_options_t {
    std::string service;                       // path of the program
    std::string log = "/tmp/vela_flight.log";  // where its output goes
    uint64_t size = 1u << 20;                  // bytes of the database
    uint64_t rate = 400u << 10;                // bytes a second: the link of a phone
};

class Demo {
public:
    Demo(const context_t& context, const demo_options_t& options);
    ~Demo();

    exit_code run();

private:
    struct installed_t {
        peers::nfz_version_t before = {};
        peers::nfz_version_t after_upgrade = {};
        peers::nfz_version_t after_refusal = {};
        peers::nfz_version_t after_override = {};
    };
    struct seen_t {
        double first_answer_s = 0;
        uint64_t upgrade_begin_us = 0;
        uint64_t upgrade_all_taken_us = 0;
        peers::upgrade_result_t upgrade;
        double held_s = -1;      // after the upgrade's begin
        double released_s = -1;  // after its end
        peers::read_result_t read;
    };

    bool all_steps();
    step_result_t start_peers();
    step_result_t start_service();
    step_result_t see_subscription();
    step_result_t see_version_before();
    step_result_t upgrade();
    step_result_t see_motors_held();
    step_result_t see_motors_released();
    step_result_t see_announcement();
    step_result_t read_back();
    step_result_t older_is_refused();
    step_result_t installed_one_stays();
    step_result_t older_is_accepted_with_marker();
    step_result_t see_version_at_the_end();
    step_result_t stop_service();

    // Runs a step only while the service does; a service that ended by itself is its failure.
    bool step(const std::string& name, step_result_t (Demo::*what)());
    peers::service_versions_t ask(uint32_t tries);
    peers::upgrade_result_t send(const std::vector<uint8_t>& database, uint64_t rate, uint64_t* all_taken_us = nullptr);
    wake wait_for(const std::function<bool()>& condition,
                  std::chrono::milliseconds step = std::chrono::milliseconds(10));
    std::string look_at_log() const;
    json summary_json() const;
    void print_summary() const;
    exit_code report_failure();

    const context_t& context_;
    const demo_options_t options_;
    Waiter waiter_;
    Steps steps_;
    std::unique_ptr<peers::FlightController> controller_;
    std::unique_ptr<peers::BusEndpoint> station_;
    std::unique_ptr<peers::AppPeer> app_;
    ServiceProcess service_;
    const std::vector<uint8_t> newer_;
    const std::vector<uint8_t> older_;
    installed_t installed_;
    seen_t seen_;
    bool interrupted_ = false;
};

}  // namespace cli
