// A no-fly-zone database travels from the app through the service to the flight controller, which reads it back.
#pragma once

#include <cstdint>
#include <vector>

#include "demo/stage.h"

namespace cli {

class NfzLeg {
public:
    explicit NfzLeg(Stage& stage);

    bool run();  // false when a step failed
    json summary_json() const;
    void print_summary() const;

private:
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
    step_result_t see_version(const peers::nfz_version_t& wanted, const std::string& still);
    peers::upgrade_result_t send(const std::vector<uint8_t>& database, uint64_t rate, uint64_t* all_taken_us = nullptr);

    Stage& stage_;
    const std::vector<uint8_t> newer_;
    const std::vector<uint8_t> older_;
    uint64_t begin_us_ = 0;
    uint64_t all_taken_us_ = 0;
    peers::upgrade_result_t upgrade_;
    double held_s_ = -1;      // after the upgrade's begin
    double released_s_ = -1;  // after its end
    peers::read_result_t read_;
};

}  // namespace cli
