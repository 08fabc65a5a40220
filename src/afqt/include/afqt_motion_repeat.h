// Names the list entries that come next; never flown itself. What the runner makes of it: docs/motion-lists.md.
#pragma once

#include <cjson/cJSON.h>

#include "afqt/include/afqt_motion_base.h"

struct MotionRepeatCfgItem {
    int16_t start_num_;     // first entry, from 0
    int16_t end_num_;       // last entry, from 0, inclusive
    uint8_t repeat_times_;  // repetitions
};

class AfqtMotionRepeat : public AfqtMotionBase {
public:
    explicit AfqtMotionRepeat(MotionRepeatCfgItem cfg) : AfqtMotionBase(MOTION_REPEAT), motion_repeat_cfg_(cfg) {}

    // The file counts entries from 1, the fields from 0; an absent key is entry 0. Null when memory is out.
    static AfqtMotionBase* extract(const cJSON* para_cfg);

    uint8_t init(void* arg) override;

    // The next entry's index, low 8 bits: start to end, and again. Not compared with the list's length.
    uint8_t run() override;
    uint8_t reset() override;

    // MOTION_DOING while repetitions remain.
    uint8_t check_finish() override;
    uint8_t check_valid() override;

private:
    MotionRepeatCfgItem motion_repeat_cfg_;
    int16_t cur_motion_index_ = 0;  // handed out last
    uint8_t cur_repeat_times_ = 0;  // completed
};
