#include "afqt/include/afqt_motion_step.h"

#include <cstdio>
#include <new>

#include "afqt/include/afqt_hold_still.h"
#include "afqt/include/afqt_json.h"
#include "flight_db/flight_db.h"

AfqtMotionStep::AfqtMotionStep(MotionStepCfgItem cfg)
    : AfqtMotionBase(MOTION_STEP),
      SquareWave(cfg.step_amp, cfg.gap_flag, cfg.intervals, cfg.total_times),
      motion_step_cfg(cfg)
{
}

AfqtMotionBase* AfqtMotionStep::extract(const cJSON* para_cfg)
{
    std::puts("[JSON] in step  ");
    MotionStepCfgItem cfg = {};
    for (const cJSON* item = json_first(para_cfg); item != nullptr; item = item->next) {
        json_low8(*item, "repeat_times", cfg.total_times);
        json_seconds(*item, "intervals", cfg.intervals);
        json_low8(*item, "loop_id", cfg.ctrl_loop);
        json_fp32(*item, "tilt_dir", cfg.tilt_dir);
        json_flag(*item, "reset_flag", cfg.gap_flag);
        json_fp32(*item, "amp", cfg.step_amp);
    }
    return new (std::nothrow) AfqtMotionStep(cfg);
}

uint8_t AfqtMotionStep::init(void*)
{
    const flight_global_db_t& db = *flight_get_db();
    step_init_ = {.init_yaw_ = db.atti_gnd[2], .init_alt_ = db.altitude};
    return 0;
}

uint8_t AfqtMotionStep::run()
{
    cur_state = calc_square_wave(&output_amp);
    send_cmd_by_loop(motion_step_cfg.ctrl_loop, output_amp);
    return 0;
}

uint8_t AfqtMotionStep::reset()
{
    cur_state = 0;
    reset_counter();
    step_init_ = {};
    return 0;
}

uint8_t AfqtMotionStep::check_finish()
{
    return cur_state == SQUARE_WAVE_DONE ? MOTION_DONE : MOTION_DOING;
}

uint8_t AfqtMotionStep::check_valid()
{
    return MOTION_CFG_VALID;
}

uint8_t AfqtMotionStep::get_loop()
{
    return motion_step_cfg.ctrl_loop;
}

// Horizontal frame, climb and yaw held at rate 0.
static uint8_t send_horizontal(uint8_t horiz_mode, uint8_t stab_flag, float x, float y)
{
    return send_ctrl_data_packed(horiz_mode, VERT_MODE_VEL, YAW_MODE_RATE, BODY_LEVEL, stab_flag, x, y, 0.0f, 0.0f);
}

// Attitude and velocity loops are judged without stabilisation, the others with it.
uint8_t AfqtMotionStep::send_cmd_by_loop(uint8_t loop, float value)
{
    switch (loop) {
        case kAttiX:
            return send_horizontal(HORIZ_MODE_ATTI, STAB_DISABLE, value, 0.0f);
        case kAttiY:
            return send_horizontal(HORIZ_MODE_ATTI, STAB_DISABLE, 0.0f, value);
        case kAttiZ:
            return send_ctrl_data_packed(HORIZ_MODE_ATTI, VERT_MODE_VEL, YAW_MODE_ANG, BODY_LEVEL, STAB_ENABLE, 0.0f,
                                         0.0f, step_init_.init_yaw_ + value, 0.0f);
        case kVelX:
            return send_horizontal(HORIZ_MODE_VEL, STAB_DISABLE, value, 0.0f);
        case kVelY:
            return send_horizontal(HORIZ_MODE_VEL, STAB_DISABLE, 0.0f, value);
        case kVertPos:
            return send_ctrl_data_packed(HORIZ_MODE_ATTI, VERT_MODE_POS, YAW_MODE_RATE, BODY_LEVEL, STAB_ENABLE, 0.0f,
                                         0.0f, 0.0f, step_init_.init_alt_ + value);
        case kAttiStbX:
            return send_horizontal(HORIZ_MODE_ATTI, STAB_ENABLE, value, 0.0f);
        default:
            return send_hold_still();
    }
}
