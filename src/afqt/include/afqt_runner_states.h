// The states of the list runner. Only the runner itself uses them.
//
// Times are counted in ticks of 20 ms. exit leaves every state as it was constructed, so that a run after an error, an
// off command or a finished run starts clean.
#pragma once

#include "afqt/include/afqt_run_motion_list.h"
#include "flight_db/flight_db.h"

namespace afqt {

enum sub_state_timeout_t : uint16_t {
    TIMEOUT_REQ_TAKEOFF = 500,
    TIMEOUT_IN_TAKEOFF = 500,
    TIMEOUT_REQ_LANDING = 100,
    TIMROUT_WAIT_LANDING = 500,
    TIMEOUT_REQ_API = 500,
};

enum takeoff_sta_t : uint8_t { REQ_TAKEOFF = 0, IN_TAKEOFF = 1, TAKEOFF_DONE = 2 };
enum landing_sta_t : uint8_t { WAITING_LANDING = 0, REQ_LANDING = 1, IN_LANDING = 2, LANDING_DONE = 3 };

// What all of them have: the error event, which leads to kError, and stands first.
class RunMotionList::RunnerState : public StateBase {
public:
    using StateBase::StateBase;
    uint8_t init() override;
    uint8_t entry() override { return 0; }
    uint8_t run() override { return get_err(); }
    uint8_t exit() override;
    uint8_t get_internal_state_flag() override { return 0; }

protected:
    RunMotionList& owner() { return static_cast<RunMotionList&>(owner_base()); }
    static uint8_t display_mode() { return flight_get_db()->display_mode; }

private:
    static uint8_t event_err(StateBaseRef sta) { return sta.get_err() != 0; }
};

class RunMotionList::MotionListInit : public RunnerState {
public:
    explicit MotionListInit(StateMachineRef owner) : RunnerState("MotionListInit", kMotionListInit, owner) {}
    uint8_t init() override;
    uint8_t run() override;

private:
    static MotionListInit& this_sta(StateBaseRef sta) { return static_cast<MotionListInit&>(sta); }
    static uint8_t event_init_finish(StateBaseRef sta);
};

class RunMotionList::ReqTakeoff : public RunnerState {
public:
    explicit ReqTakeoff(StateMachineRef owner) : RunnerState("ReqTakeoff", kReqTakeoff, owner) {}
    uint8_t init() override;
    uint8_t run() override;
    uint8_t exit() override;

private:
    static uint8_t event_in_air(StateBaseRef sta);
    void request_takeoff();
    void wait_for_air();

    uint8_t sub_state_ = REQ_TAKEOFF;
    uint32_t ticks_ = 0;
};

class RunMotionList::ReqApiMode : public RunnerState {
public:
    explicit ReqApiMode(StateMachineRef owner) : RunnerState("ReqApiMode", kReqApiMode, owner) {}
    uint8_t init() override;
    uint8_t run() override;
    uint8_t exit() override;

private:
    static uint8_t event_in_joystick(StateBaseRef sta);

    uint32_t ticks_ = 0;
};

class RunMotionList::LoadNextMotion : public RunnerState {
public:
    explicit LoadNextMotion(StateMachineRef owner) : RunnerState("LoadNextMotion", kLoadNextMotion, owner) {}
};

class RunMotionList::MotionListRun : public RunnerState {
public:
    explicit MotionListRun(StateMachineRef owner) : RunnerState("MotionListRun", kMotionListRun, owner) {}
    uint8_t init() override;
    uint8_t entry() override;
    uint8_t run() override;
    uint8_t exit() override;

private:
    static MotionListRun& this_sta(StateBaseRef sta) { return static_cast<MotionListRun&>(sta); }
    static uint8_t event_list_done(StateBaseRef sta);
};

class RunMotionList::RtlRun : public RunnerState {
public:
    explicit RtlRun(StateMachineRef owner) : RunnerState("RtlRun", kRtlRun, owner) {}
    uint8_t init() override;
    uint8_t entry() override;
    uint8_t run() override;
    uint8_t exit() override;

private:
    static RtlRun& this_sta(StateBaseRef sta) { return static_cast<RtlRun&>(sta); }
    static uint8_t event_in_home(StateBaseRef sta);
    void hover();
    void fly_home();

    enum : uint8_t { HOVER = 0, FLY_HOME = 1 };
    uint8_t sub_state_ = HOVER;
    uint32_t ticks_ = 0;
    vec2 cmd_pos_ = {};  // latitude, longitude, radians
    float cmd_alt_ = 0;  // metres; the way back keeps its height, so nothing is commanded from it
    float pos_err_ = 0;  // metres; 0: not measured yet
};

class RunMotionList::Landing : public RunnerState {
public:
    explicit Landing(StateMachineRef owner) : RunnerState("Landing", kLanding, owner) {}
    uint8_t init() override;
    uint8_t run() override;
    uint8_t exit() override;

    // Offered, but not added as an event: landing has no time-out, the aircraft comes down when it comes down.
    static uint8_t event_timeout(StateBaseRef sta);

private:
    static Landing& this_sta(StateBaseRef sta) { return static_cast<Landing&>(sta); }
    static uint8_t event_landing_done(StateBaseRef sta);
    void wait();
    void request_landing();

    uint8_t sub_state_ = WAITING_LANDING;
    uint32_t ticks_ = 0;
};

// The main machine watches for this one. It cannot fail, so it has no event.
class RunMotionList::RunMotionDone : public RunnerState {
public:
    explicit RunMotionDone(StateMachineRef owner) : RunnerState("RunMotionDone", kRunMotionDone, owner) {}
    uint8_t init() override { return 0; }
    uint8_t run() override;
};

class RunMotionList::ErrorState : public RunnerState {
public:
    explicit ErrorState(StateMachineRef owner) : RunnerState("ErrorSta", kError, owner) {}
};

}  // namespace afqt
