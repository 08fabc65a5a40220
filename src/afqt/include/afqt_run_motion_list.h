// The list runner: flies one motion list from the ground back to the ground. Check the list, take off, take external
// control, fly motion by motion, return to the start point, land. AFQT tick only; no heap after init.
#pragma once

#include "afqt/include/afqt_motion_base.h"
#include "afqt/include/afqt_run_list_sta.h"
#include "afqt/include/afqt_state_machine_base.h"

namespace afqt {

enum RunMotionListStaEnum : uint8_t {
    kMotionListInit = 0,
    kReqTakeoff = 1,
    kReqApiMode = 2,
    kLoadNextMotion = 3,  // nothing leads to it
    kMotionListRun = 4,
    kRtlRun = 5,
    kLanding = 6,
    kRunMotionDone = 7,  // final until reset_run_list_sta
    kError = 8,          // likewise
    kRmlsNum = 9,
};

class RunMotionList : public StateMachineBase {
public:
    explicit RunMotionList(const char* name) : StateMachineBase(name) {}
    uint8_t build() override;
    StateBaseSptr state_factory(StateId id, StateMachineRef owner) override;

    // Ready for a new run: the next tick starts with the first state, the first motion. The states clean up after
    // themselves when they are left, so call exit before.
    void reset_run_list_sta();

    // AfqtExtStaEnum.
    uint8_t update_ext_state() const;

    // The runner's own report, with its state ids instead of the external ones; the test sends the main machine's.
    uint8_t send_heartbeat();

    // The motion being flown; without one: NONE, kLoopNull.
    uint8_t get_curr_motion_id() const;
    uint8_t afqt_motion_loop();
    uint8_t get_curr_motion_num() const { return run_list_sta.curr_motion_num; }  // from 0

    // The operations of the motion being flown. Without one: failed, invalid, never finished.
    uint8_t afqt_motion_init();
    uint8_t afqt_motion_run();
    uint8_t afqt_motion_reset();
    uint8_t afqt_motion_check_finish();
    uint8_t afqt_motion_check_valid();

    // Start point: radians, metres, degrees.
    void set_init_gps_valid(uint8_t valid) { run_list_sta.init_pos_valid_flag = valid; }
    void set_init_pos_alt_yaw(double lat, double lon, float alt, float yaw);
    void get_init_pos(double* out2) const;
    float get_init_alt() const { return run_list_sta.init_alt; }

    const run_list_sta_t& run_sta() const { return run_list_sta; }

private:
    class RunnerState;
    class MotionListInit;
    class ReqTakeoff;
    class ReqApiMode;
    class LoadNextMotion;
    class MotionListRun;
    class RtlRun;
    class Landing;
    class RunMotionDone;
    class ErrorState;

    // AfqtErrCodeEnum.
    uint8_t start_list();
    uint8_t step_list();
    uint8_t next_entry();
    uint8_t fly(MotionInterface motion);

    MotionInterface entry(uint8_t index) const;
    bool is_repeat(uint8_t index) const;
    void expand_repeat(uint8_t index);
    void follow_repeat(MotionInterface repeat, unsigned steps_left);
    void step_over_repeat();

    run_list_sta_t run_list_sta;
};

}  // namespace afqt
