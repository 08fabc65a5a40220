#include "afqt/include/afqt_motion_line.h"

#include <cmath>
#include <cstdio>
#include <new>

#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_hold_still.h"
#include "flight_db/flight_db.h"
#include "math_gps.h"
#include "math_kinematic.h"

static constexpr fp32 TICK_S = 0.02f;
static constexpr fp32 GRAVITY = 9.80665f;  // m/s2
static constexpr fp32 RAD_PER_DEG = 0.017453293f;
static constexpr uint8_t LEAST_GPS_LEVEL = 3;
static constexpr fp32 HEIGHT_GAIN = 1.0f;  // 1/s, height error to climb
static constexpr fp32 YAW_GAIN = 2.0f;     // 1/s, heading error to rate
// 1/s, room below a limit to climb. Low enough for an aircraft that follows a climb within half a second not to pass
// the limit, and to slow down by half of what the craft tables allow.
static constexpr fp32 LIMIT_GAIN = 0.5f;

AfqtMotionBase* AfqtMotionLine::extract(const cJSON* para_cfg)
{
    std::puts("[JSON] in line  ");
    return new (std::nothrow) AfqtMotionLine(read_line_cfg(para_cfg));
}

uint8_t AfqtMotionLine::init(void*)
{
    const bool measured = flight_get_db()->gps_ctrl_level >= LEAST_GPS_LEVEL;
    return cfg_.flight_dis > 0.0f && !measured ? 1 : 0;
}

uint8_t AfqtMotionLine::reset()
{
    cur_state = LINE_BEGIN;
    return 0;
}

uint8_t AfqtMotionLine::check_finish()
{
    return cur_state == LINE_DONE ? MOTION_DONE : MOTION_DOING;
}

uint8_t AfqtMotionLine::check_valid()
{
    return cfg_.sound && get_craft_cfg() != nullptr ? MOTION_CFG_VALID : MOTION_CFG_INVALID;
}

uint8_t AfqtMotionLine::run()
{
    if (cur_state == LINE_BEGIN) begin();
    const char* reason = cur_state == LINE_FLY ? reason_to_end() : nullptr;
    if (reason != nullptr) end(reason);
    if (cur_state == LINE_DONE) {
        send_hold_still();
        return 0;
    }
    fly();
    tick_++;
    return 0;
}

// Height, heading and position of the moment, as a motion may have been prepared on the ground.
void AfqtMotionLine::begin()
{
    const flight_global_db_t& db = *flight_get_db();
    craft_ = get_craft_cfg();
    mode_ = craft_ == nullptr ? nullptr : cfg_.flight_mode == 0 ? &craft_->p_mode : &craft_->s_mode;
    tick_ = 0;
    start_pos_[0] = db.drone_gps[0];
    start_pos_[1] = db.drone_gps[1];
    start_alt_ = db.altitude;
    start_yaw_ = db.atti_gnd[2];
    tilt_ = speed_ = climb_ = 0.0f;
    cur_state = LINE_FLY;
}

const char* AfqtMotionLine::reason_to_end() const
{
    if (mode_ == nullptr) return "no craft table";
    if (!std::isfinite(start_yaw_)) return "no heading";
    if (tick_ >= cfg_.tilt.ticks() && tick_ >= cfg_.vert.ticks() && tick_ >= cfg_.yaw.ticks()) return "time";
    if (cfg_.flight_dis == 0.0f) return nullptr;
    if (flight_get_db()->gps_ctrl_level < LEAST_GPS_LEVEL) return "no fix";
    return distance_flown() ? "distance" : nullptr;
}

// A distance that cannot be told counts as flown.
bool AfqtMotionLine::distance_flown() const
{
    const flight_global_db_t& db = *flight_get_db();
    const vec2 here = {db.drone_gps[0], db.drone_gps[1]};
    vec2f way = {};
    const fp32 distance = get_gps_distance_and_component(way, here, start_pos_);
    return !(distance >= 0.0f && distance < cfg_.flight_dis);
}

void AfqtMotionLine::end(const char* reason)
{
    _afqt_log("run", "[Line] end after %u ticks: %s\r\n", static_cast<unsigned>(tick_), reason);
    cur_state = LINE_DONE;
}

static fp32 wrapped_degrees(fp32 angle)
{
    return std::remainder(angle, 360.0f);
}

// `value`, moved towards `target` by `step` at most.
static fp32 moved(fp32 value, fp32 target, fp32 step)
{
    return float_constrain(target, value - step, value + step);
}

void AfqtMotionLine::fly()
{
    const flight_global_db_t& db = *flight_get_db();
    tilt();
    climb(db.altitude - start_alt_);
    const vec2f ahead = {speed_, 0.0f};
    vec2f velocity = {};
    convert_vec2f_from_refA_to_refB(velocity, ahead, wrapped_degrees(start_yaw_ + cfg_.flight_yaw) * RAD_PER_DEG, 0.0f);
    send_ctrl_data_packed(HORIZ_MODE_VEL, VERT_MODE_VEL, YAW_MODE_RATE, GROUND_LEVEL, STAB_ENABLE, velocity[0],
                          velocity[1], yaw_rate(db.atti_gnd[2]), climb_);
}

// The tilt follows the stick no faster than the aircraft may turn, the speed no faster than its greatest tilt pulls.
void AfqtMotionLine::tilt()
{
    const MotionLineItem* item = cfg_.tilt.at(tick_);
    const fp32 target = item == nullptr ? 0.0f : mode_->rc_scale * mode_->tilt_atti_range * item->stick;
    tilt_ = moved(tilt_, target, mode_->tilt_gyro_range * TICK_S);
    const fp32 speed =
        float_linear_interpolation(std::fabs(tilt_), ref_tilt, craft_->tilt_vel_curve, CRAFT_TILT_POINTS);
    const fp32 pull = GRAVITY * std::tan(mode_->tilt_atti_range * RAD_PER_DEG);
    speed_ = moved(speed_, std::copysign(speed, tilt_), pull * TICK_S);
}

// What a full stick means: the number of the file, or what the craft table makes of it.
static fp32 at_full_stick(fp32 of_file, fp32 scale, fp32 of_table)
{
    return of_file > 0.0f ? of_file : scale * std::fabs(of_table);
}

fp32 AfqtMotionLine::wanted_climb(const MotionLineItem& item, fp32 height) const
{
    const bool up = item.stick > 0.0f;
    switch (item.mode) {
        case LINE_VERT_HEIGHT:
            return HEIGHT_GAIN * (cfg_.vert_pos * item.stick - height);
        case LINE_VERT_ACC:
            return climb_ + std::fabs(up ? mode_->vert_acc_up : mode_->vert_acc_down) * item.stick * TICK_S;
        default:
            return at_full_stick(cfg_.vert_vel, mode_->rc_scale, up ? mode_->vert_vel_up : mode_->vert_vel_down) *
                   item.stick;
    }
}

// The limits of height forbid, they do not pull: an aircraft beyond one is not brought back.
void AfqtMotionLine::climb(fp32 height)
{
    if (!std::isfinite(height)) {
        climb_ = 0.0f;
        return;
    }
    const MotionLineItem* item = cfg_.vert.at(tick_);
    fp32 target = item == nullptr ? 0.0f : wanted_climb(*item, height);
    target = float_constrain(target, mode_->vert_vel_down, mode_->vert_vel_up);
    climb_ = float_constrain(target, climb_ + mode_->vert_acc_down * TICK_S, climb_ + mode_->vert_acc_up * TICK_S);
    const fp32 most = std::fmax(LIMIT_GAIN * (cfg_.height_max - height), 0.0f);
    const fp32 least = std::fmin(LIMIT_GAIN * (cfg_.height_min - height), 0.0f);
    climb_ = float_constrain(climb_, least, most);
}

// degrees/s
fp32 AfqtMotionLine::yaw_rate(fp32 yaw) const
{
    const MotionLineItem* item = cfg_.yaw.at(tick_);
    if (item == nullptr) return 0.0f;
    fp32 rate = at_full_stick(cfg_.yaw_rate, mode_->rc_scale, mode_->tors_gyro_range) * item->stick;
    if (item->mode == LINE_YAW_ANGLE)
        rate = YAW_GAIN * wrapped_degrees(start_yaw_ + cfg_.yaw_angle * item->stick - yaw);
    if (!std::isfinite(rate)) return 0.0f;
    return float_constrain(rate, -mode_->tors_gyro_range, mode_->tors_gyro_range);
}
