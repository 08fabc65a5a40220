// What each entry commands, tick by tick, as the service would: told without an aircraft, which is taken to follow at
// once.
#pragma once

#include <cstdint>
#include <functional>

#include "motion_list/motion_rules.h"

namespace peers {

inline constexpr double TICK_SECONDS = 0.02;

// What a loop's amplitude is.
enum class loop_kind { none, rate, tilt, heading, speed, climb, height };

loop_kind step_loop(uint8_t loop_id);  // none: no step excites it
loop_kind sweep_loop(uint8_t inj_loop);

// Phases of a step, before they are counted in 8 bits.
uint64_t step_phases(const list_node_t& para_cfg);

struct command_t {
    double tilt[2] = {};   // degrees, about x and y
    double speed[2] = {};  // m/s forward and to the right of the heading at the entry's start
    double climb = 0;      // m/s
    double height = 0;     // m from the height at the entry's start, where that is commanded
    double turn = 0;       // degrees/s
    double heading = 0;    // degrees from that at the entry's start, where that is commanded
    double excited = 0;    // amplitude of a sweep, which the flight controller makes
    loop_kind excites = loop_kind::none;

    bool operator==(const command_t&) const = default;
};

// Takes commands that last so many ticks.
using command_sink_t = std::function<void(uint64_t ticks, const command_t& command)>;

struct plan_end_t {
    bool open = false;      // the end depends on the aircraft: no command was told
    bool distance = false;  // a line with a distance that was flown
    double distance_m = 0;  // of a line
};

// Of an entry without errors, which is not a repeat.
plan_end_t plan_entry(const list_entry_t& entry, const craft_t& craft, const command_sink_t& sink);

}  // namespace peers
