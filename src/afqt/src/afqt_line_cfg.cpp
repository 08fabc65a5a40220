#include "afqt/include/afqt_line_cfg.h"

#include <algorithm>
#include <cmath>

#include "afqt/include/afqt_json.h"

static constexpr fp32 TICKS_PER_SECOND = 50.0f;
static constexpr fp32 FULL_STICK = 100.0f;  // percent

uint32_t MotionLineStick::ticks() const
{
    uint32_t sum = 0;
    for (uint8_t n = 0; n < count; ++n)
        sum += items[n].ticks;
    return sum;
}

const MotionLineItem* MotionLineStick::at(uint32_t tick) const
{
    for (uint8_t n = 0; n < count; ++n) {
        if (tick < items[n].ticks) return &items[n];
        tick -= items[n].ticks;
    }
    return nullptr;
}

// A stick's key and that of its items' mode; the modes below `modes` are known.
struct stick_keys_t {
    const char* items;
    const char* mode;
    uint8_t modes;
};

// False for an item that no stick can fly.
static bool read_item(const cJSON& object, const stick_keys_t& keys, MotionLineItem& out)
{
    fp32 time = 0.0f;
    fp32 percent = 0.0f;
    out.mode = 0;
    for (const cJSON* member = json_first(&object); member != nullptr; member = member->next) {
        json_fp32(*member, "time", time);
        json_fp32(*member, "stick_value", percent);
        if (keys.mode != nullptr) json_low8(*member, keys.mode, out.mode);
    }
    if (!(time > 0.0f && time <= LINE_ITEM_SECONDS)) return false;
    if (!(std::fabs(percent) <= FULL_STICK) || out.mode >= keys.modes) return false;
    out.ticks = std::max(static_cast<uint32_t>(std::lround(time * TICKS_PER_SECOND)), uint32_t{1});
    out.stick = percent / FULL_STICK;
    return true;
}

static void read_stick(const cJSON& member, const stick_keys_t& keys, MotionLineStick& out, bool& sound)
{
    if (!json_has_key(member, keys.items)) return;
    out.count = 0;
    if (cJSON_IsArray(&member) == 0) sound = false;
    for (const cJSON* item = json_first(&member); item != nullptr && sound; item = item->next) {
        sound = out.count < LINE_ITEMS && cJSON_IsObject(item) != 0 && read_item(*item, keys, out.items[out.count]);
        if (sound) out.count++;
    }
}

static void read_numbers(const cJSON& member, MotionLineCfgItem& cfg)
{
    json_fp32(member, "vert_pos", cfg.vert_pos);
    json_fp32(member, "vert_vel", cfg.vert_vel);
    json_fp32(member, "yaw_angle", cfg.yaw_angle);
    json_fp32(member, "yaw_rate", cfg.yaw_rate);
    json_fp32(member, "flight_dis", cfg.flight_dis);
    json_fp32(member, "flight_yaw", cfg.flight_yaw);
    json_fp32(member, "height_min", cfg.height_min);
    json_fp32(member, "height_max", cfg.height_max);
    json_low8(member, "flight_mode", cfg.flight_mode);
}

static bool makes_sense(const MotionLineCfgItem& cfg)
{
    for (const fp32 number : {cfg.vert_pos, cfg.vert_vel, cfg.yaw_angle, cfg.yaw_rate, cfg.flight_dis, cfg.flight_yaw,
                              cfg.height_min, cfg.height_max}) {
        if (!std::isfinite(number)) return false;
    }
    const bool items = cfg.tilt.count != 0 || cfg.vert.count != 0 || cfg.yaw.count != 0;
    const bool positive = cfg.vert_vel >= 0.0f && cfg.yaw_rate >= 0.0f && cfg.flight_dis >= 0.0f;
    return items && positive && cfg.height_min <= cfg.height_max && cfg.flight_mode <= 1;
}

MotionLineCfgItem read_line_cfg(const cJSON* para_cfg)
{
    MotionLineCfgItem cfg = {};
    cfg.sound = true;
    for (const cJSON* member = json_first(para_cfg); member != nullptr; member = member->next) {
        read_stick(*member, {"stick_tilt", nullptr, 1}, cfg.tilt, cfg.sound);
        read_stick(*member, {"stick_vert", "vert_mode", 3}, cfg.vert, cfg.sound);
        read_stick(*member, {"stick_yaw", "yaw_mode", 2}, cfg.yaw, cfg.sound);
        read_numbers(*member, cfg);
    }
    cfg.sound = cfg.sound && makes_sense(cfg);
    return cfg;
}
