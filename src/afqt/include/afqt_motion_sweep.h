// A frequency sweep on one control loop. The flight controller makes the signal; this motion starts it, holds still and
// stops it 3 s after its duration.
#pragma once

#include <cjson/cJSON.h>

#include "afqt/include/afqt_motion_base.h"
#include "math_basic.h"

enum sweep_state_t : uint8_t { SWEEP_REQ = 0, SWEEP_RUN = 1, SWEEP_DONE = 2 };

struct MotionSweepCfgItem {
    fp32 start_freq;   // Hz
    fp32 end_freq;     // Hz
    fp32 during_time;  // s
    fp32 amp;          // unit of the loop
    uint8_t inject_point;
    uint8_t inject_loop;  // AfqtCtrlLoopEnum
};

class AfqtMotionSweep : public AfqtMotionBase {
public:
    explicit AfqtMotionSweep(MotionSweepCfgItem cfg) : AfqtMotionBase(MOTION_SWEEP), motion_sweep_cfg(cfg) {}

    // Null when memory is out; `para_cfg` may be null or of any kind.
    static AfqtMotionBase* extract(const cJSON* para_cfg);

    uint8_t init(void* arg) override;
    uint8_t run() override;
    uint8_t reset() override;
    uint8_t check_finish() override;
    uint8_t check_valid() override;

    // As configured, not in the flight controller's numbers.
    uint8_t get_loop() override;

    // Start request. Result of the send.
    uint8_t send_req_msg();

    // The flight controller's number for a loop of ours; it leaves 14 out.
    uint8_t change_cfg_loop_to_sweep_loop(uint8_t loop);

private:
    void run_sweep();

    MotionSweepCfgItem motion_sweep_cfg;
    uint32_t counter = 0;  // ticks since the start request
};
