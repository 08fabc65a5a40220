// Straight lines by timed sticks: not flown yet. A list may name one, and it is refused when its turn comes; so a list
// with lines loads, and what stands before them is flown.
#pragma once

#include <cjson/cJSON.h>

#include "afqt/include/afqt_motion_base.h"

class AfqtMotionLine : public AfqtMotionBase {
public:
    AfqtMotionLine() : AfqtMotionBase(MOTION_LINE) {}

    // Reads none of the parameters. Null when memory is out.
    static AfqtMotionBase* extract(const cJSON* para_cfg);

    // 1: cannot start.
    uint8_t init(void* arg) override;

    // Holds still.
    uint8_t run() override;
    uint8_t reset() override;
    uint8_t check_finish() override;

    // MOTION_CFG_INVALID, with a craft table or without.
    uint8_t check_valid() override;
};
