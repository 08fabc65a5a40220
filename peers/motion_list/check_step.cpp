// Steps on one loop.
#include <algorithm>
#include <cmath>

#include "motion_list/fields.h"
#include "motion_list/motion_plan.h"
#include "motion_list/motion_rules.h"

namespace peers {
namespace {

constexpr double MOST_PHASES = 255;  // counted in 8 bits

constexpr field_t STEP_FIELDS[] = {
    {"loop_id", field_kind::small, severity::error, "the service takes 0, a loop without steps: it holds still"},
    {"amp", field_kind::number, severity::warning, "the service takes 0: nothing is excited"},
    {"intervals", field_kind::whole_seconds, severity::error, "the service takes 0: the motion is over at once"},
    {"repeat_times", field_kind::small, severity::warning, "the service takes 0 steps"},
    {"reset_flag", field_kind::flag, severity::warning,
     "no rest at 0 between the steps, and one step more than repeat_times; false sets the flag"},
    {"tilt_dir", field_kind::number},
};

void check_phases(const scope_t& scope)
{
    const list_node_t* times = last_number(scope.node, "repeat_times");
    if (times == nullptr) return;
    const double phases = static_cast<double>(step_phases(scope.node));
    const bool gaps = flag_set(scope.node, "reset_flag");
    if (phases > MOST_PHASES) {
        scope.at(severity::error, *times,
                 "the motion never ends, phases are counted in 8 bits; write " + std::string(gaps ? "127" : "252") +
                     " steps at most");
    }
    if (times->number == 0) scope.at(severity::warning, *times, gaps ? "no step at all" : "one step all the same");
}

void check_loop(const scope_t& scope, drones_t drones)
{
    const list_node_t* loop = last_number(scope.node, "loop_id");
    const list_node_t* amp = last_number(scope.node, "amp");
    if (loop == nullptr) return;
    const loop_kind kind = step_loop(static_cast<uint8_t>(taken_number(field_kind::small, loop->number)));
    if (kind == loop_kind::none) {
        scope.at(severity::warning, *loop,
                 "no step excites this loop, the aircraft holds still; 4, 5, 6, 7, 8, 13 and 17 are excited");
    }
    if (amp == nullptr) return;
    if (amp->number == 0) scope.at(severity::warning, *amp, "a step of no height excites nothing");
    for (const craft_t& craft : drones) {
        const craft_mode_t& sport = craft.modes[1];
        const double most = kind == loop_kind::tilt    ? double{sport.tilt_range}
                            : kind == loop_kind::speed ? double{speed_at_tilt(craft, sport.tilt_range)}
                                                       : HUGE_VAL;
        if (std::fabs(amp->number) <= most) continue;
        scope.at(severity::warning, *amp,
                 std::string("beyond the ") + craft.name + ", whose craft table ends at " + number_words(most) +
                     (kind == loop_kind::tilt ? " degrees" : " m/s"));
    }
}

}  // namespace

void check_step(const scope_t& scope, drones_t drones)
{
    check_fields(scope, STEP_FIELDS);
    check_phases(scope);
    check_loop(scope, drones);
    const list_node_t* intervals = last_number(scope.node, "intervals");
    if (intervals != nullptr && intervals->number == 0)
        scope.at(severity::error, *intervals, "the motion is over at once; write whole seconds from 1 to 255");
    const list_node_t* direction = scope.node.last("tilt_dir");
    if (direction != nullptr) scope.at(severity::note, *direction, "it is read, but no command uses it");
}

}  // namespace peers
