#include "motion_list/line_plan.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

#include "motion_list/fields.h"

namespace peers {
namespace {

constexpr fp32 TICK_S = 0.02f;
constexpr fp32 GRAVITY = 9.80665f;  // m/s2
constexpr fp32 RAD_PER_DEG = std::numbers::pi_v<fp32> / 180;
constexpr fp32 HEIGHT_GAIN = 1.0f;  // 1/s
constexpr fp32 YAW_GAIN = 2.0f;     // 1/s
constexpr fp32 LIMIT_GAIN = 0.5f;   // 1/s

constexpr uint8_t BY_HEIGHT = 1;
constexpr uint8_t BY_ACCELERATION = 2;
constexpr uint8_t BY_HEADING = 0;

fp32 single_of(const list_node_t& object, const char* key)
{
    return static_cast<fp32>(number_of(object, key));
}

fp32 moved(fp32 value, fp32 target, fp32 step)
{
    return std::clamp(target, value - step, value + step);
}

fp32 at_full_stick(fp32 of_list, fp32 scale, fp32 of_table)
{
    return of_list > 0 ? of_list : scale * std::fabs(of_table);
}

}  // namespace

LinePlan::LinePlan(const list_node_t& para_cfg, const craft_t& craft)
    : craft_(craft),
      mode_(craft.modes[number_of(para_cfg, "flight_mode") == 1 ? 1 : 0]),
      tilt_items_(read_items(para_cfg, "stick_tilt", "")),
      vert_items_(read_items(para_cfg, "stick_vert", "vert_mode")),
      yaw_items_(read_items(para_cfg, "stick_yaw", "yaw_mode")),
      flight_yaw_(single_of(para_cfg, "flight_yaw")),
      height_min_(single_of(para_cfg, "height_min")),
      height_max_(single_of(para_cfg, "height_max")),
      vert_vel_(single_of(para_cfg, "vert_vel")),
      vert_pos_(single_of(para_cfg, "vert_pos")),
      yaw_rate_(single_of(para_cfg, "yaw_rate")),
      yaw_angle_(single_of(para_cfg, "yaw_angle")),
      limit_(double{single_of(para_cfg, "flight_dis")}),
      stick_ticks_(std::max({ticks_of(tilt_items_), ticks_of(vert_items_), ticks_of(yaw_items_)}))
{
}

LinePlan::items_t LinePlan::read_items(const list_node_t& para_cfg, const char* stick, const char* mode)
{
    items_t items;
    const list_node_t* list = para_cfg.last(stick);
    if (list == nullptr) return items;
    for (const list_node_t& item : list->children) {
        const auto ticks = std::lround(static_cast<fp32>(number_of(item, "time")) * 50.0f);
        items.push_back({static_cast<uint32_t>(std::max(ticks, 1L)),
                         static_cast<fp32>(number_of(item, "stick_value")) / 100.0f,
                         static_cast<uint8_t>(number_of(item, mode))});
    }
    return items;
}

const LinePlan::item_t* LinePlan::at(const items_t& items) const
{
    uint32_t tick = tick_;
    for (const item_t& item : items) {
        if (tick < item.ticks) return &item;
        tick -= item.ticks;
    }
    return nullptr;
}

uint32_t LinePlan::ticks_of(const items_t& items)
{
    return std::accumulate(items.begin(), items.end(), uint32_t{0},
                           [](uint32_t sum, const item_t& item) { return sum + item.ticks; });
}

bool LinePlan::next(command_t& command)
{
    if (tick_ >= stick_ticks_ || at_distance()) return false;
    command = {};
    command.turn = double{next_turn()};
    const fp32 speed = next_speed();
    const fp32 way = std::remainder(flight_yaw_, 360.0f) * RAD_PER_DEG;
    command.speed[0] = double{speed * std::cos(way)};
    command.speed[1] = double{speed * std::sin(way)};
    command.tilt[0] = double{tilt_};
    command.climb = double{next_climb()};
    height_ += command.climb * TICK_SECONDS;
    heading_ += command.turn * TICK_SECONDS;
    distance_ = std::fabs(along_ += double{speed} * TICK_SECONDS);
    tick_++;
    return true;
}

fp32 LinePlan::next_speed()
{
    const item_t* item = at(tilt_items_);
    const fp32 target = item == nullptr ? 0.0f : mode_.rc_scale * mode_.tilt_range * item->stick;
    tilt_ = moved(tilt_, target, mode_.tilt_rate * TICK_S);
    const fp32 pull = GRAVITY * std::tan(mode_.tilt_range * RAD_PER_DEG);
    speed_ = moved(speed_, std::copysign(speed_at_tilt(craft_, std::fabs(tilt_)), tilt_), pull * TICK_S);
    return speed_;
}

fp32 LinePlan::wanted_climb(const item_t& item) const
{
    const bool up = item.stick > 0;
    if (item.mode == BY_HEIGHT) return HEIGHT_GAIN * (vert_pos_ * item.stick - static_cast<fp32>(height_));
    if (item.mode == BY_ACCELERATION)
        return climb_ + std::fabs(up ? mode_.climb_gain : mode_.sink_gain) * item.stick * TICK_S;
    return at_full_stick(vert_vel_, mode_.rc_scale, up ? mode_.climb : mode_.sink) * item.stick;
}

fp32 LinePlan::next_climb()
{
    const item_t* item = at(vert_items_);
    const auto height = static_cast<fp32>(height_);
    const fp32 target = std::clamp(item == nullptr ? 0.0f : wanted_climb(*item), mode_.sink, mode_.climb);
    climb_ = std::clamp(target, climb_ + mode_.sink_gain * TICK_S, climb_ + mode_.climb_gain * TICK_S);
    const fp32 most = std::max(LIMIT_GAIN * (height_max_ - height), 0.0f);
    const fp32 least = std::min(LIMIT_GAIN * (height_min_ - height), 0.0f);
    climb_ = std::clamp(climb_, least, most);
    return climb_;
}

fp32 LinePlan::next_turn() const
{
    const item_t* item = at(yaw_items_);
    if (item == nullptr) return 0;
    fp32 rate = at_full_stick(yaw_rate_, mode_.rc_scale, mode_.yaw_rate) * item->stick;
    if (item->mode == BY_HEADING)
        rate = YAW_GAIN * std::remainder(yaw_angle_ * item->stick - static_cast<fp32>(heading_), 360.0f);
    return std::clamp(rate, -mode_.yaw_rate, mode_.yaw_rate);
}

}  // namespace peers
