// Restricted areas travel from the app to the service, which hands those nearest to the aircraft to the flight
// controller.
#pragma once

#include <cstdint>
#include <vector>

#include "demo/stage.h"
#include "tfr_selection.h"

namespace cli {

class TfrLeg {
public:
    explicit TfrLeg(Stage& stage) : stage_(stage) {}

    bool run();  // false when a step failed
    json summary_json() const;
    void print_summary() const;

private:
    step_result_t make_file();
    step_result_t deliver();
    step_result_t deliver_again();
    step_result_t see_pushes();
    std::vector<uint32_t> expected_ids() const;

    Stage& stage_;
    std::vector<uint8_t> file_;
    size_t areas_ = 0;
    tfr_info_t nearest_ = {};  // what the service should select at the aircraft's position
    peers::transfer_result_t delivery_;
};

}  // namespace cli
