// A line on paper: what the sticks mean through a craft table, tick by tick.
#pragma once

#include <cstdint>
#include <vector>

#include "motion_list/craft_table.h"
#include "motion_list/list_text.h"
#include "motion_list/motion_plan.h"

namespace peers {

class LinePlan {
public:
    // `para_cfg` without errors.
    LinePlan(const list_node_t& para_cfg, const craft_t& craft);

    // The next tick's command; false when the line has ended.
    bool next(command_t& command);

    bool at_distance() const { return limit_ > 0 && distance_ >= limit_; }
    double distance() const { return distance_; }

private:
    struct item_t {
        uint32_t ticks;
        fp32 stick;  // -1 to 1
        uint8_t mode;
    };
    using items_t = std::vector<item_t>;

    static uint32_t ticks_of(const items_t& items);
    static items_t read_items(const list_node_t& para_cfg, const char* stick, const char* mode);
    const item_t* at(const items_t& items) const;
    fp32 next_speed();
    fp32 next_climb();
    fp32 wanted_climb(const item_t& item) const;
    fp32 next_turn() const;

    const craft_t& craft_;
    const craft_mode_t& mode_;
    const items_t tilt_items_, vert_items_, yaw_items_;
    const fp32 flight_yaw_, height_min_, height_max_, vert_vel_, vert_pos_, yaw_rate_, yaw_angle_;
    const double limit_;          // m; 0: none
    const uint32_t stick_ticks_;  // until the last stick has ended
    uint32_t tick_ = 0;
    fp32 tilt_ = 0;        // degrees
    fp32 speed_ = 0;       // m/s along the line
    fp32 climb_ = 0;       // m/s
    double height_ = 0;    // m
    double heading_ = 0;   // degrees
    double along_ = 0;     // m from the start, backwards negative
    double distance_ = 0;  // m from the start
};

}  // namespace peers
