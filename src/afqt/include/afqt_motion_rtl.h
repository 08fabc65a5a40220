// Back to the position, height and heading that the aircraft had when the list began, each if its flag is set.
#pragma once

#include <cjson/cJSON.h>

#include "afqt/include/afqt_motion_base.h"
#include "math_vector.h"

struct MotionRtlCfgItem {
    uint8_t pos_flag;
    uint8_t alt_flag;
    uint8_t yaw_flag;
    uint8_t land_flag;  // no operation here reads it
};

struct MotionRtlStaItem {
    vec2 init_gps_pos_;  // latitude, longitude, radians
    fp32 init_alt_;      // metres
    fp32 init_yaw_;      // degrees
    fp32 pos_err_norm_;  // metres from the start position
    uint32_t start_time_;
    uint8_t pos_done_;
    uint8_t alt_done_;
    uint8_t yaw_done_;
};

// One extended stick frame while it is put together.
struct rtl_frame_t;

class AfqtMotionRtl : public AfqtMotionBase {
public:
    explicit AfqtMotionRtl(MotionRtlCfgItem cfg) : AfqtMotionBase(MOTION_RTL), motion_rtl_cfg_(cfg) {}

    // Null when memory is out; `para_cfg` may be null or of any kind.
    static AfqtMotionBase* extract(const cJSON* para_cfg);

    // 1 if the list began without a usable fix.
    uint8_t init(void* arg) override;

    // An axis that has arrived stays so until `reset`, even if the aircraft drifts away.
    uint8_t run() override;
    uint8_t reset() override;
    uint8_t check_finish() override;
    uint8_t check_valid() override;

private:
    void run_position(rtl_frame_t& frame);
    void run_height(rtl_frame_t& frame);
    void run_heading(rtl_frame_t& frame);

    MotionRtlCfgItem motion_rtl_cfg_;
    MotionRtlStaItem motion_rtl_sta_ = {};
};
