// The test's main machine: waits for the on command, reloads the motion list, lets the list runner fly it, stops on the
// off command or when the list is done, and reports once a second.
#pragma once

#include "afqt/include/afqt_run_motion_list.h"
#include "afqt/include/afqt_state_machine_base.h"
#include "common/shared_word.h"

namespace afqt {

enum MainStaIdEnum : uint8_t {
    MSTA_MOTION_IDEL = 0,
    MSTA_MOTION_RUN = 1,
    MSTA_MOTION_PAUSE = 2,  // nothing leads to it
    MSTA_MOTION_STOP = 3,
    MSTA_RELOAD_MOTION_LIST = 4,
    MSTA_UPLOAD_FLIGHT_DATA = 5,  // nothing leads to it
    MSTA_NUM = 6,
};

class AfqtMainStateMachine : public StateMachineBase {
public:
    explicit AfqtMainStateMachine(const char* name) : StateMachineBase(name) {}
    uint8_t build() override;
    StateBaseSptr state_factory(StateId id, StateMachineRef owner) override;

    // One tick; 0. AFQT timer.
    uint8_t main_run();

    // Leaves AfqtCmdEnum for the tick. A command waits for a state that takes it, or for a newer one. Any thread.
    void set_afqt_onoff_cmd(uint8_t cmd) { afqt_onoff_cmd_ = cmd; }

    // True if `cmd` was waiting; it is taken then. A newer command that comes in between stays.
    bool take_onoff_cmd(uint8_t cmd) { return afqt_onoff_cmd_.replace(cmd, 0); }

    // AfqtExtStaEnum.
    uint8_t update_ext_state();

    // What send_afqt_heart_beat returns.
    uint8_t send_heartbeat();

private:
    static uint8_t ext_event_reset(StateBaseRef sta);

    shared_word<uint8_t> afqt_onoff_cmd_;  // flight client task writes, the tick clears
    uint8_t err_code_ = 0;                 // AfqtErrCodeEnum: what the current state's run returned
};

// The one of this process; made before main runs.
AfqtMainStateMachine& get_afqt_main();

}  // namespace afqt
