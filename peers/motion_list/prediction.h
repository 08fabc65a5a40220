// How long a list flies and how far it goes, as its commands say. Take-off, the return at the end and landing are not
// in it.
#pragma once

#include <optional>
#include <vector>

#include "motion_list/motion_plan.h"

namespace peers {

// The largest of what is commanded; positions on the assumption that the aircraft follows at once. Tilt commands move
// it too, but how far depends on the aircraft: they are not in the way.
struct envelope_t {
    double tilt = 0;      // degrees
    double speed = 0;     // m/s over ground
    double climb = 0;     // m/s
    double sink = 0;      // m/s, positive
    double turn = 0;      // degrees/s
    double heading = 0;   // degrees from that at the list's start, greatest change to either side
    double highest = 0;   // m from the height at the list's start
    double lowest = 0;    // m, negative
    double farthest = 0;  // m from the list's start, over ground
};

// Where the aircraft is on paper, from the list's start and heading.
struct paper_place_t {
    double ahead = 0;    // m
    double right = 0;    // m
    double height = 0;   // m
    double heading = 0;  // degrees, clockwise
};

struct flown_entry_t {
    list_entry_t entry;
    std::optional<double> seconds;  // none: it depends on the aircraft
    plan_end_t end;
};

struct prediction_t {
    std::vector<flown_entry_t> entries;
    double seconds = 0;  // of all entries whose time is known
    bool complete = true;
    envelope_t envelope;
    paper_place_t end;
};

// What is told at both ends of commands that last so many ticks.
struct paper_point_t {
    double seconds;  // since the list's start
    uint64_t ticks;
    const command_t& command;
    paper_place_t place;  // what the command asks for included
};

using paper_sink_t = std::function<void(const paper_point_t& point)>;

// Of entries without errors; `told` may be empty.
prediction_t predict(std::span<const list_entry_t> flown, const craft_t& craft, const paper_sink_t& told = {});

}  // namespace peers
