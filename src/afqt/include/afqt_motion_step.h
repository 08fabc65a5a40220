// Steps on one control loop: a square wave on top of a frame that holds everything else.
#pragma once

#include <cjson/cJSON.h>

#include "afqt/include/afqt_motion_base.h"
#include "afqt/include/afqt_signal_lib.h"

struct MotionStepCfgItem {
    uint8_t total_times;  // steps
    uint8_t intervals;    // s
    uint8_t ctrl_loop;    // AfqtCtrlLoopEnum
    uint8_t gap_flag;
    fp32 tilt_dir;  // read, used by no command
    fp32 step_amp;  // unit of the loop
};

struct MotionStepInitItem {
    fp32 init_yaw_;  // degrees
    fp32 init_alt_;  // metres
};

class AfqtMotionStep : public AfqtMotionBase, public SquareWave {
public:
    explicit AfqtMotionStep(MotionStepCfgItem cfg);

    // Null when memory is out; `para_cfg` may be null or of any kind.
    static AfqtMotionBase* extract(const cJSON* para_cfg);

    // Takes yaw and height, from which kAttiZ and kVertPos step.
    uint8_t init(void* arg) override;
    uint8_t run() override;
    uint8_t reset() override;
    uint8_t check_finish() override;
    uint8_t check_valid() override;
    uint8_t get_loop() override;

    // One frame with `value` on `loop`; a loop that no step excites gets the hold-still frame. Result of the send.
    uint8_t send_cmd_by_loop(uint8_t loop, float value);

private:
    MotionStepCfgItem motion_step_cfg;
    fp32 output_amp = 0.0f;
    MotionStepInitItem step_init_ = {};
};
