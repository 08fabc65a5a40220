// The list runner's states in the air and back on the ground.
#include <cmath>
#include <cstdio>

#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_hold_still.h"
#include "afqt/include/afqt_motion_cfg.h"
#include "afqt/include/afqt_runner_states.h"
#include "afqt/include/afqt_send.h"
#include "afqt/include/afqt_wire.h"
#include "math_gps.h"

namespace afqt {

static constexpr uint8_t GPS_LEVEL_MIN = 3;
static constexpr uint32_t HOVER_TICKS = 100;
static constexpr float FAST_ABOVE_M = 10.0f;
static constexpr float FAST_SPEED = 8.0f;  // m/s
static constexpr double HOME_RADIUS_M = 0.2;

uint8_t RunMotionList::MotionListRun::init()
{
    RunnerState::init();
    return add_event("motion_list_done", kRtlRun, event_list_done, nullptr);
}

// Without a usable fix there is no start point, and the first motion keeps the preparation it got on the ground.
uint8_t RunMotionList::MotionListRun::entry()
{
    const flight_global_db_t* db = flight_get_db();
    if (db->gps_ctrl_level < GPS_LEVEL_MIN) {
        owner().set_init_gps_valid(0);
        return 0;
    }
    owner().set_init_gps_valid(1);
    owner().set_init_pos_alt_yaw(db->drone_gps[0], db->drone_gps[1], db->altitude, db->atti_gnd[2]);
    owner().afqt_motion_reset();
    owner().afqt_motion_init();
    puts(" sssss  \r");
    return 0;
}

uint8_t RunMotionList::MotionListRun::run()
{
    const uint8_t error = owner().step_list();
    if (error != ERROR_NONE) set_err(error);
    return get_err();
}

uint8_t RunMotionList::MotionListRun::exit()
{
    send_sweep_req_msg(0, 0, 0, 0, 0, 0, 0, 0);
    return RunnerState::exit();
}

uint8_t RunMotionList::MotionListRun::event_list_done(StateBaseRef sta)
{
    const run_list_sta_t& run_list_sta = this_sta(sta).owner().run_list_sta;
    return run_list_sta.curr_motion_num >= run_list_sta.motion_total;
}

uint8_t RunMotionList::RtlRun::init()
{
    RunnerState::init();
    return add_event("event_in_home", kLanding, event_in_home, nullptr);
}

uint8_t RunMotionList::RtlRun::entry()
{
    owner().get_init_pos(cmd_pos_);
    cmd_alt_ = owner().get_init_alt();
    return 0;
}

uint8_t RunMotionList::RtlRun::run()
{
    if (sub_state_ == HOVER) {
        hover();
    } else {
        fly_home();
    }
    return get_err();
}

void RunMotionList::RtlRun::hover()
{
    send_hold_still();
    if (++ticks_ < HOVER_TICKS) return;
    ticks_ = 0;
    sub_state_ = FLY_HOME;
}

// Far away with the pro frame: no stick command, only the speed towards home fed forward.
static void fly_fast(vec2f error)
{
    static constexpr float none[4] = {};
    vec2f_normalize(error);
    vec2f_scale(error, FAST_SPEED);
    uint8_t flag = 0;
    uint16_t control = 0;
    pack_ctrl_pro_ctrl_flag(&flag, HORIZ_MODE_POS, STAB_ENABLE, VERT_MODE_VEL, YAW_MODE_RATE, GROUND_LEVEL);
    pack_ctrl_pro_ctrl_byte(&control, FFWD_VEL_ACC, FFWD_DISABLE, 0, 0, 0, 0, 0);
    send_pro_ctrl_data_packed(flag, control, none, error, none, none);
}

void RunMotionList::RtlRun::fly_home()
{
    ++ticks_;
    const flight_global_db_t* db = flight_get_db();
    const vec2 position = {db->drone_gps[0], db->drone_gps[1]};
    vec2f error = {};  // north, east
    pos_err_ = get_gps_distance_and_component(error, cmd_pos_, position);
    if (std::isnan(pos_err_)) {  // a position that is none: no stick may carry it on
        send_hold_still();
        return;
    }
    if (pos_err_ > FAST_ABOVE_M) {
        fly_fast(error);
        return;
    }
    send_ctrl_data_packed(HORIZ_MODE_POS, VERT_MODE_VEL, YAW_MODE_RATE, GROUND_LEVEL, STAB_ENABLE, error[0], error[1],
                          0, 0);
}

uint8_t RunMotionList::RtlRun::exit()
{
    sub_state_ = HOVER;
    ticks_ = 0;
    pos_err_ = 0;
    vec2_set_zero(cmd_pos_);
    cmd_alt_ = 0;
    return RunnerState::exit();
}

// An error of exactly 0 stands for "not measured yet". -1, an impossible position, counts as home: there is no way to
// fly to it.
uint8_t RunMotionList::RtlRun::event_in_home(StateBaseRef sta)
{
    const RtlRun& rtl = this_sta(sta);
    return rtl.sub_state_ == FLY_HOME && rtl.pos_err_ != 0 && static_cast<double>(rtl.pos_err_) < HOME_RADIUS_M;
}

uint8_t RunMotionList::Landing::init()
{
    RunnerState::init();
    return add_event("landing_done", kRunMotionDone, event_landing_done, nullptr);
}

uint8_t RunMotionList::Landing::run()
{
    switch (sub_state_) {
        case WAITING_LANDING:
            wait();
            break;
        case REQ_LANDING:
            request_landing();
            break;
        case IN_LANDING:
            ++ticks_;
            break;
        default:
            break;
    }
    return get_err();
}

void RunMotionList::Landing::wait()
{
    puts("[afqt]WAITING_LANDING");
    _afqt_log("run", "[afqt]WAITING_LANDING");
    send_hold_still();
    send_afqt_msg(kAfqtDone, 0, get_motion_cfg_file_index());
    puts("[afqt]sen_msg success\r");
    _afqt_log("run", "[afqt]sen_msg success\r\n");
    if (++ticks_ < TIMROUT_WAIT_LANDING) return;
    ticks_ = 0;
    sub_state_ = REQ_LANDING;
}

// The command goes out on the tick that sees the new mode, too.
void RunMotionList::Landing::request_landing()
{
    send_basic_cmd(API_CMD_AUTO_LANDING);
    ++ticks_;
    const uint8_t mode = display_mode();
    if (mode != KCTRL_AUTOLANDING && mode != KCTRL_NAVI_GOHOME && mode != KCTRL_FORCE_AUTOLANDING) return;
    ticks_ = 0;
    sub_state_ = IN_LANDING;
}

uint8_t RunMotionList::Landing::exit()
{
    puts("[new afqt] Landing exit  \r");
    sub_state_ = WAITING_LANDING;
    ticks_ = 0;
    return RunnerState::exit();
}

uint8_t RunMotionList::Landing::event_landing_done(StateBaseRef)
{
    if (flight_get_db()->drone_fsm != DRONE_MOTOR_OFF) return 0;
    puts("[new afqt]landing done \r");
    return 1;
}

uint8_t RunMotionList::Landing::event_timeout(StateBaseRef sta)
{
    const Landing& landing = this_sta(sta);
    if (landing.sub_state_ != REQ_LANDING || landing.ticks_ < TIMEOUT_REQ_LANDING) return 0;
    puts("[new afqt] check landing time out \r");
    return 1;
}

uint8_t RunMotionList::RunMotionDone::run()
{
    puts("[new afqt]run done \r");
    return get_err();
}

}  // namespace afqt
