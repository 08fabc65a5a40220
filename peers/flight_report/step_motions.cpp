#include "flight_report/step_motions.h"

#include <algorithm>
#include <cmath>

#include "afqt_wire.h"

namespace peers {
namespace {

// Marks are up to a second late, and a motion begins with a second or more without a step.
constexpr double MARK_LATE_S = 1;

struct rows_t {
    size_t begin;
    size_t end;
};

// The longest stretch in which the loop ran and no loop around it countered the step.
rows_t stepped_rows(const FlightRows& rows, const motion_span_t& motion)
{
    const size_t begin = rows.row_at(motion.span.begin - MARK_LATE_S);
    const size_t end = rows.row_at(motion.span.end);
    const loop_signals_t all = signals_of(rows, motion.loop, begin, end);
    rows_t longest = {begin, begin};
    rows_t stretch = longest;
    for (size_t row = begin; row < end && !all.times.empty(); row++) {
        const bool runs = std::isfinite(all.commands[row - begin]) && std::isfinite(all.values[row - begin]);
        if (!runs || held_from_outside(rows, motion.loop, row))
            stretch = {row + 1, row + 1};
        else
            stretch.end = row + 1;
        if (stretch.end - stretch.begin > longest.end - longest.begin) longest = stretch;
    }
    return longest;
}

step_motion_t measure(const FlightRows& rows, const motion_span_t& motion)
{
    step_motion_t stepped;
    stepped.motion = motion;
    const rows_t part = stepped_rows(rows, motion);
    stepped.signals = signals_of(rows, motion.loop, part.begin, part.end);
    if (stepped.signals.times.empty()) {
        stepped.why_not = "the loop did not run alone: a loop around it holds against the step";
        return stepped;
    }
    stepped.steps = measure_each_step({stepped.signals.times, stepped.signals.commands, stepped.signals.values});
    if (stepped.steps.empty()) stepped.why_not = "the command did not jump";
    return stepped;
}

}  // namespace

std::vector<step_motion_t> measure_step_motions(const FlightRows& rows, const std::vector<motion_span_t>& motions)
{
    std::vector<step_motion_t> measured;
    for (const motion_span_t& motion : motions) {
        if (motion.motion_id == MOTION_STEP) measured.push_back(measure(rows, motion));
    }
    return measured;
}

}  // namespace peers
