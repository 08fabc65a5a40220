#include "afqt/include/afqt_motion_rtl.h"

#include <cstdio>
#include <new>

#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_json.h"
#include "afqt/include/afqt_run_list_sta.h"
#include "afqt/include/afqt_send.h"
#include "flight_db/flight_db.h"
#include "flight_timer/flight_timer.h"
#include "math_gps.h"

static constexpr fp32 ARRIVED_M = 0.2f;
static constexpr fp32 FAR_M = 10.0f;        // beyond it the feed-forward flies, within it the position loop
static constexpr fp32 RETURN_SPEED = 8.0f;  // m/s
static constexpr fp32 HEIGHT_ARRIVED_M = 0.1f;
static constexpr fp32 YAW_ARRIVED_DEG = 1.0f;

struct rtl_frame_t {
    uint8_t vert_mode = VERT_MODE_VEL;
    uint8_t yaw_mode = YAW_MODE_RATE;
    uint8_t horiz_ffwd_flag = FFWD_DISABLE;
    fp32 stick_cmd[4] = {};  // north, east, height, heading
    vec2f horiz_ffwd_vel = {};
};

AfqtMotionBase* AfqtMotionRtl::extract(const cJSON* para_cfg)
{
    MotionRtlCfgItem cfg = {};
    for (const cJSON* item = json_first(para_cfg); item != nullptr; item = item->next) {
        json_flag(*item, "pos_flag", cfg.pos_flag);
        json_flag(*item, "alt_flag", cfg.alt_flag);
        json_flag(*item, "yaw_flag", cfg.yaw_flag);
        json_flag(*item, "land_flag", cfg.land_flag);
    }
    return new (std::nothrow) AfqtMotionRtl(cfg);
}

uint8_t AfqtMotionRtl::init(void* arg)
{
    const auto* start = static_cast<const run_list_sta_t*>(arg);
    if (start == nullptr || start->init_pos_valid_flag == 0) return 1;
    motion_rtl_sta_.start_time_ = flight_get_sys_boot_time_ms();
    vec2_copy(motion_rtl_sta_.init_gps_pos_, start->init_gps_pos);
    motion_rtl_sta_.init_alt_ = start->init_alt;
    motion_rtl_sta_.init_yaw_ = start->init_yaw;
    return 0;
}

static void send_frame(const rtl_frame_t& frame)
{
    static constexpr fp32 none[2] = {};
    uint8_t ctrl_flag = 0;
    uint16_t ctrl_byte = 0;
    pack_ctrl_pro_ctrl_flag(&ctrl_flag, HORIZ_MODE_POS, STAB_ENABLE, frame.vert_mode, frame.yaw_mode, GROUND_LEVEL);
    pack_ctrl_pro_ctrl_byte(&ctrl_byte, frame.horiz_ffwd_flag, FFWD_DISABLE, 0, 0, 0, 0, 0);
    send_pro_ctrl_data_packed(ctrl_flag, ctrl_byte, frame.stick_cmd, frame.horiz_ffwd_vel, none, none);
}

uint8_t AfqtMotionRtl::run()
{
    rtl_frame_t frame;
    run_position(frame);
    run_height(frame);
    run_heading(frame);
    send_frame(frame);
    return 0;
}

static void fly_home(rtl_frame_t& frame, vec2f to_home, fp32 distance)
{
    if (distance > FAR_M) {
        vec2f_normalize(to_home);
        vec2f_scale(to_home, RETURN_SPEED);
        vec2f_copy(frame.horiz_ffwd_vel, to_home);
        frame.horiz_ffwd_flag = FFWD_VEL_ACC;
        return;
    }
    _afqt_log("run", "[Rtl] stick_cmd /r/n");
    vec2f_copy(frame.stick_cmd, to_home);
}

// A position out of range has the distance -1 and counts as home. One that is no number neither flies nor arrives: the
// frame holds still, and the motion goes on until the test is switched off.
void AfqtMotionRtl::run_position(rtl_frame_t& frame)
{
    MotionRtlStaItem& sta = motion_rtl_sta_;
    if (motion_rtl_cfg_.pos_flag != 1 || sta.pos_done_ != 0) {
        sta.pos_done_ = 1;
        return;
    }
    const flight_global_db_t& db = *flight_get_db();
    const vec2 current = {db.drone_gps[0], db.drone_gps[1]};
    vec2f to_home = {};
    sta.pos_err_norm_ = get_gps_distance_and_component(to_home, sta.init_gps_pos_, current);
    _afqt_log("run", "[Rtl] pose err norm /r/n");
    if (sta.pos_err_norm_ >= ARRIVED_M) fly_home(frame, to_home, sta.pos_err_norm_);
    if (sta.pos_err_norm_ < ARRIVED_M) sta.pos_done_ = 1;
}

static bool within(fp32 difference, fp32 bound)
{
    return -bound < difference && difference < bound;
}

void AfqtMotionRtl::run_height(rtl_frame_t& frame)
{
    MotionRtlStaItem& sta = motion_rtl_sta_;
    const bool wanted = motion_rtl_cfg_.alt_flag == 1 && sta.alt_done_ == 0;
    if (!wanted || within(flight_get_db()->altitude - sta.init_alt_, HEIGHT_ARRIVED_M)) {
        sta.alt_done_ = 1;
        return;
    }
    frame.stick_cmd[2] = sta.init_alt_;
    frame.vert_mode = VERT_MODE_POS;
}

// The difference is not brought within half a turn: at 359 degrees a start heading of 1 degree is 358 degrees away.
void AfqtMotionRtl::run_heading(rtl_frame_t& frame)
{
    MotionRtlStaItem& sta = motion_rtl_sta_;
    const bool wanted = motion_rtl_cfg_.yaw_flag == 1 && sta.yaw_done_ == 0;
    if (!wanted || within(flight_get_db()->atti_gnd[2] - sta.init_yaw_, YAW_ARRIVED_DEG)) {
        sta.yaw_done_ = 1;
        return;
    }
    frame.stick_cmd[3] = sta.init_yaw_;
    frame.yaw_mode = YAW_MODE_ANG;
}

uint8_t AfqtMotionRtl::reset()
{
    motion_rtl_sta_ = {};
    return 0;
}

uint8_t AfqtMotionRtl::check_finish()
{
    const MotionRtlStaItem& sta = motion_rtl_sta_;
    return sta.pos_done_ == 1 && sta.alt_done_ == 1 && sta.yaw_done_ == 1 ? MOTION_DONE : MOTION_DOING;
}

uint8_t AfqtMotionRtl::check_valid()
{
    std::puts("[afqt]check rtl\r");
    return MOTION_CFG_VALID;
}
