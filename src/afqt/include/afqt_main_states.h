// The states of the main machine. Only the machine itself uses them.
#pragma once

#include "afqt/include/afqt_motion_scheduler.h"

namespace afqt {

// A state that does nothing: what the others begin with.
class MainState : public StateBase {
public:
    using StateBase::StateBase;
    uint8_t init() override { return 0; }
    uint8_t entry() override { return 0; }
    uint8_t run() override { return 0; }
    uint8_t exit() override { return 0; }
    uint8_t get_internal_state_flag() override { return 0; }

protected:
    AfqtMainStateMachine& owner() { return static_cast<AfqtMainStateMachine&>(owner_base()); }
};

class MainStaMotionIdel : public MainState {
public:
    explicit MainStaMotionIdel(StateMachineRef owner) : MainState("MSTA_MOTION_IDEL", MSTA_MOTION_IDEL, owner) {}
    uint8_t init() override;

private:
    static MainStaMotionIdel& this_sta(StateBaseRef sta) { return static_cast<MainStaMotionIdel&>(sta); }
    static uint8_t ext_event_cmd_on(StateBaseRef sta);
};

// Runs the motion list runner as a machine of its own.
class MainStaMotionRun : public MainState {
public:
    explicit MainStaMotionRun(StateMachineRef owner);
    uint8_t init() override;
    uint8_t entry() override;
    uint8_t run() override;
    uint8_t exit() override;
    uint8_t get_internal_state_flag() override;
    RunMotionList& runner() { return *sta_mach_run_motion; }

private:
    static MainStaMotionRun& this_sta(StateBaseRef sta) { return static_cast<MainStaMotionRun&>(sta); }
    static uint8_t ext_event_cmd_off(StateBaseRef sta);
    static uint8_t event_motion_done(StateBaseRef sta);

    std::shared_ptr<RunMotionList> sta_mach_run_motion;
};

class MainStaMotionPause : public MainState {
public:
    explicit MainStaMotionPause(StateMachineRef owner) : MainState("MSTA_MOTION_PAUSE", MSTA_MOTION_PAUSE, owner) {}
};

// Left by the machine's external event.
class MainStaMotionStop : public MainState {
public:
    explicit MainStaMotionStop(StateMachineRef owner) : MainState("MSTA_MOTION_STOP", MSTA_MOTION_STOP, owner) {}
};

class MainStaReloadMotionList : public MainState {
public:
    explicit MainStaReloadMotionList(StateMachineRef owner)
        : MainState("MSTA_RELOAD_MOTION_LIST", MSTA_RELOAD_MOTION_LIST, owner)
    {
    }
    uint8_t init() override;
    uint8_t run() override;

private:
    static MainStaReloadMotionList& this_sta(StateBaseRef sta) { return static_cast<MainStaReloadMotionList&>(sta); }
    static uint8_t event_load_motion_list(StateBaseRef sta);

    // 1 after the first list that loaded, for good: a later list that fails still leads on to a run.
    uint8_t reload_flag_ = 0;
};

class MainStaUploadFlightData : public MainState {
public:
    explicit MainStaUploadFlightData(StateMachineRef owner)
        : MainState("MSTA_UPLOAD_FLIGHT_DATA", MSTA_UPLOAD_FLIGHT_DATA, owner)
    {
    }
};

}  // namespace afqt
