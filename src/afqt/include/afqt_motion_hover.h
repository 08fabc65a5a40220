// Holds still for a time.
#pragma once

#include <cjson/cJSON.h>

#include "afqt/include/afqt_motion_base.h"
#include "math_basic.h"

struct MotionHoverCfgItem {
    fp32 duration;  // s; the hover lasts strictly longer
};

class AfqtMotionHover : public AfqtMotionBase {
public:
    explicit AfqtMotionHover(MotionHoverCfgItem cfg) : AfqtMotionBase(MOTION_HOVER), motion_hover_cfg_(cfg) {}

    // Null when memory is out; `para_cfg` may be null or of any kind.
    static AfqtMotionBase* extract(const cJSON* para_cfg);

    uint8_t init(void* arg) override;
    uint8_t run() override;
    uint8_t reset() override;
    uint8_t check_finish() override;

    // Refuses only a duration of zero: a negative one is done at the first tick.
    uint8_t check_valid() override;

private:
    MotionHoverCfgItem motion_hover_cfg_;
    uint32_t start_time_ = 0;  // ms, process time
};
