// A factory flight: the station switches, the service flies a motion list on the simulated aircraft.
#pragma once

#include "afqt_run.h"
#include "demo/stage.h"

namespace cli {

// Lays out what the service wants to find: the list, the marker, the folders. Before the service starts.
step_result_t prepare_flight(const demo_options_t& options);

class FlightLeg {
public:
    FlightLeg(Stage& stage, TestInbox& inbox) : stage_(stage), inbox_(inbox) {}

    bool run();  // false when a step failed
    json summary_json() const;
    void print_summary() const;

private:
    step_result_t fly();
    step_result_t see_landed();

    Stage& stage_;
    TestInbox& inbox_;
    uint64_t start_us_ = 0;  // of the switch
    peers::test_report_t report_;
    double seconds_ = 0;
    double miss_m_ = 0;  // where it landed, from where it stood
};

}  // namespace cli
