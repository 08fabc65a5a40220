// What a line's "para_cfg" says. docs/motion-lists.md has the keys, units and ranges.
#pragma once

#include <cjson/cJSON.h>

#include <cstdint>

#include "math_basic.h"

inline constexpr uint8_t LINE_ITEMS = 32;       // of one stick, at most
inline constexpr fp32 LINE_ITEM_SECONDS = 600;  // at most

enum line_vert_mode_t : uint8_t { LINE_VERT_SPEED = 0, LINE_VERT_HEIGHT = 1, LINE_VERT_ACC = 2 };
enum line_yaw_mode_t : uint8_t { LINE_YAW_ANGLE = 0, LINE_YAW_RATE = 1 };

// A stick held for a time.
struct MotionLineItem {
    uint32_t ticks;
    fp32 stick;    // -1 to 1, from -100 to 100 percent
    uint8_t mode;  // line_vert_mode_t or line_yaw_mode_t; 0 for the tilt
};

// One stick's items, one behind the other.
struct MotionLineStick {
    MotionLineItem items[LINE_ITEMS];
    uint8_t count;

    uint32_t ticks() const;

    // Null when the last one has ended.
    const MotionLineItem* at(uint32_t tick) const;
};

struct MotionLineCfgItem {
    MotionLineStick tilt;
    MotionLineStick vert;
    MotionLineStick yaw;
    fp32 vert_pos;    // m from the start height, at full stick
    fp32 vert_vel;    // m/s at full stick; 0: the craft table's
    fp32 yaw_angle;   // degrees from the start heading, at full stick
    fp32 yaw_rate;    // degrees/s at full stick; 0: the craft table's
    fp32 flight_dis;  // m over ground; 0: as far as the items go
    fp32 flight_yaw;  // degrees, clockwise from the start heading
    fp32 height_min;  // m from the start height
    fp32 height_max;
    uint8_t flight_mode;  // 0: p_mode, 1: s_mode
    bool sound;           // everything that was read makes sense
};

// `para_cfg` may be null or of any kind: then there are no items, which is not sound.
MotionLineCfgItem read_line_cfg(const cJSON* para_cfg);
