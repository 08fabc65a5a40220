// A motion list, looked through before it is flown: what the service would refuse, leave out or read differently, what
// may surprise, how long it takes and how far it goes. docs/motion-lists.md has the rules of the file.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "motion_list/finding.h"
#include "motion_list/list_text.h"
#include "motion_list/prediction.h"

namespace peers {

struct drone_prediction_t {
    const craft_t* craft;
    prediction_t flight;
};

struct list_check_t {
    std::unique_ptr<list_text_t> text;  // what entries point into
    findings_t findings;                // in the order of their places
    std::vector<list_entry_t> entries;  // that the service reads
    // One for each airframe that flies the list differently; none when there is an error.
    std::vector<drone_prediction_t> predictions;

    size_t count(severity level) const;
};

list_check_t check_motion_list(std::string_view text, drones_t drones = known_drones());

}  // namespace peers
