#include "afqt/include/afqt_motion_sweep.h"

#include <cstdio>
#include <new>

#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_hold_still.h"
#include "afqt/include/afqt_json.h"

static constexpr float TICK_S = 0.02f;
static constexpr float OVERTIME_S = 3.0f;  // the flight controller is to end the signal before it is stopped

AfqtMotionBase* AfqtMotionSweep::extract(const cJSON* para_cfg)
{
    std::puts("[JSON] in sweep  ");
    MotionSweepCfgItem cfg = {};
    for (const cJSON* item = json_first(para_cfg); item != nullptr; item = item->next) {
        json_fp32(*item, "start_freq", cfg.start_freq);
        json_fp32(*item, "end_freq", cfg.end_freq);
        json_fp32(*item, "duration", cfg.during_time);
        json_fp32(*item, "amp", cfg.amp);
        json_low8(*item, "inj_point", cfg.inject_point);
        json_low8(*item, "inj_loop", cfg.inject_loop);
    }
    return new (std::nothrow) AfqtMotionSweep(cfg);
}

uint8_t AfqtMotionSweep::init(void*)
{
    return 0;
}

uint8_t AfqtMotionSweep::run()
{
    std::puts("[afqt]motion_sweep RUN");
    if (cur_state == SWEEP_REQ) {
        send_req_msg();
        cur_state = SWEEP_RUN;
        send_hold_still();
    } else if (cur_state == SWEEP_RUN) {
        run_sweep();
        send_hold_still();
    }
    return 0;
}

void AfqtMotionSweep::run_sweep()
{
    ++counter;
    std::printf("sweep time %f \n", static_cast<double>(motion_sweep_cfg.during_time));
    if (!(static_cast<float>(counter) * TICK_S > motion_sweep_cfg.during_time + OVERTIME_S)) return;
    send_sweep_req_msg(kSweepOff, 0.0f, 0.0f, 0.0f, 0.0f, 0, 0, 0);
    cur_state = SWEEP_DONE;
}

uint8_t AfqtMotionSweep::reset()
{
    counter = 0;
    cur_state = SWEEP_REQ;
    return 0;
}

uint8_t AfqtMotionSweep::check_finish()
{
    return cur_state == SWEEP_DONE ? MOTION_DONE : MOTION_DOING;
}

uint8_t AfqtMotionSweep::check_valid()
{
    return MOTION_CFG_VALID;
}

uint8_t AfqtMotionSweep::get_loop()
{
    return motion_sweep_cfg.inject_loop;
}

uint8_t AfqtMotionSweep::send_req_msg()
{
    const MotionSweepCfgItem& cfg = motion_sweep_cfg;
    _afqt_log(__func__, "sf %.2f, ef %.2f, amp %.2f, time %.2f,", static_cast<double>(cfg.start_freq),
              static_cast<double>(cfg.end_freq), static_cast<double>(cfg.amp), static_cast<double>(cfg.during_time));
    return send_sweep_req_msg(kSweepOn, cfg.start_freq, cfg.end_freq, cfg.amp, cfg.during_time, cfg.inject_point,
                              change_cfg_loop_to_sweep_loop(cfg.inject_loop), kChirpZSig);
}

uint8_t AfqtMotionSweep::change_cfg_loop_to_sweep_loop(uint8_t loop)
{
    if (loop == 0) return 4;
    return static_cast<uint8_t>(loop <= 10 ? loop + 3 : loop + 4);
}
