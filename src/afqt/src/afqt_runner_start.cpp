// The list runner's states from the list's check to external control.
#include <cstdio>

#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_hold_still.h"
#include "afqt/include/afqt_runner_states.h"
#include "afqt/include/afqt_send.h"
#include "afqt/include/afqt_wire.h"

namespace afqt {

uint8_t RunMotionList::RunnerState::init()
{
    return add_event("motion_err", kError, event_err, nullptr);
}

uint8_t RunMotionList::RunnerState::exit()
{
    set_err(ERROR_NONE);
    return 0;
}

uint8_t RunMotionList::MotionListInit::init()
{
    RunnerState::init();
    return add_event("motion_list_init_finish", kReqTakeoff, event_init_finish, nullptr);
}

uint8_t RunMotionList::MotionListInit::run()
{
    const uint8_t error = owner().start_list();
    if (error != ERROR_NONE) {
        owner().run_list_sta.error_code = error;
        set_err(error);
    }
    return get_err();
}

uint8_t RunMotionList::MotionListInit::event_init_finish(StateBaseRef sta)
{
    const run_list_sta_t& run_list_sta = this_sta(sta).owner().run_list_sta;
    if (run_list_sta.error_code != ERROR_NONE || run_list_sta.curr_motion_ptr == nullptr) return 0;
    printf("motion list init err_code %d \r\n", run_list_sta.error_code);
    return 1;
}

uint8_t RunMotionList::ReqTakeoff::init()
{
    RunnerState::init();
    return add_event("drone_in_air", kReqApiMode, event_in_air, nullptr);
}

uint8_t RunMotionList::ReqTakeoff::run()
{
    printf("curr_mode, %d\r\n", display_mode());
    switch (sub_state_) {
        case REQ_TAKEOFF:
            request_takeoff();
            break;
        case IN_TAKEOFF:
            wait_for_air();
            break;
        default:
            set_err(WRONR_STATE);
            break;
    }
    return get_err();
}

// The command goes out on the tick that sees the new mode, too.
void RunMotionList::ReqTakeoff::request_takeoff()
{
    send_basic_cmd(API_CMD_AUTO_TAKEOFF);
    ++ticks_;
    const uint8_t mode = display_mode();
    if (mode == KCTRL_AUTOTAKEOFF || mode == KCTRL_ASSITED_TAKEOFF) {
        ticks_ = 0;
        sub_state_ = IN_TAKEOFF;
        return;
    }
    if (ticks_ >= TIMEOUT_REQ_TAKEOFF) set_err(CANNOT_REQ_TAKEOFF);
}

void RunMotionList::ReqTakeoff::wait_for_air()
{
    if (++ticks_ >= TIMEOUT_IN_TAKEOFF) set_err(TAKEOFF_FAIL);
}

uint8_t RunMotionList::ReqTakeoff::exit()
{
    printf("req tkof in  %d **\n", static_cast<int>(ticks_));
    ticks_ = 0;
    printf("req tkof out  %d **\n", static_cast<int>(ticks_));
    sub_state_ = REQ_TAKEOFF;
    return RunnerState::exit();
}

uint8_t RunMotionList::ReqTakeoff::event_in_air(StateBaseRef)
{
    const uint8_t mode = display_mode();
    const _drone_state state = flight_get_db()->drone_fsm;
    if (state != DRONE_IN_AIR || (mode != KCTRL_GPS_ATTI && mode != KCTRL_NAVI_JOYSTICK)) return 0;
    _afqt_log(__func__, "event_in_air, %d, %d\r\n", static_cast<int>(state), mode);
    puts("***DRONE_IN_AIR***");
    return 1;
}

uint8_t RunMotionList::ReqApiMode::init()
{
    ticks_ = 0;
    RunnerState::init();
    return add_event("drone_in_air", kMotionListRun, event_in_joystick, nullptr);
}

uint8_t RunMotionList::ReqApiMode::run()
{
    puts("**ReqApiMode  **");
    send_req_api_mode(MIS_ON);
    send_hold_still();
    if (++ticks_ >= TIMEOUT_REQ_API) set_err(REQ_API_TIMEOUT);
    return get_err();
}

uint8_t RunMotionList::ReqApiMode::exit()
{
    ticks_ = 0;
    return RunnerState::exit();
}

uint8_t RunMotionList::ReqApiMode::event_in_joystick(StateBaseRef)
{
    const uint8_t mode = display_mode();
    if (mode != KCTRL_NAVI_JOYSTICK) return 0;
    printf("[1]req_api_mode    flight mode : %d, !!!!! \r\n", mode);
    return 1;
}

}  // namespace afqt
