#include "motion_list/motion_plan.h"

#include <algorithm>
#include <cmath>

#include "motion_list/fields.h"
#include "motion_list/line_plan.h"

namespace peers {
namespace {

constexpr uint64_t TICKS_PER_SECOND = 50;
constexpr double OVERTIME = 3;           // s that a sweep is held on after its duration
constexpr double LONGEST = 1e12;         // s; the sums stay exact
constexpr double COUNTED_EXACTLY = 1e4;  // s; up to there single precision tells one tick from the next

uint8_t small_of(const list_node_t& object, const char* key)
{
    return static_cast<uint8_t>(taken_number(field_kind::small, number_of(object, key)));
}

// The first tick later than that, counted as the service counts, in single precision.
uint64_t ticks_beyond(double seconds)
{
    const double guess = std::floor(std::clamp(seconds, 0.0, LONGEST) / TICK_SECONDS);
    auto ticks = static_cast<uint64_t>(std::max(guess - 1, 1.0));
    if (seconds > COUNTED_EXACTLY) return ticks + 2;
    while (!(static_cast<float>(ticks * 20) / 1000.0f > static_cast<float>(seconds)))
        ticks++;
    return ticks;
}

command_t step_command(loop_kind kind, uint8_t loop, double value)
{
    command_t command;
    const bool second_axis = loop == kAttiY || loop == kVelY;
    if (kind == loop_kind::tilt) command.tilt[second_axis ? 1 : 0] = value;
    if (kind == loop_kind::speed) command.speed[second_axis ? 1 : 0] = value;
    if (kind == loop_kind::heading) command.heading = value;
    if (kind == loop_kind::height) command.height = value;
    return command;
}

// Sign of the step in a phase: at rest first and last, with gaps in between as well.
int step_sign(bool gaps, uint64_t phase, uint64_t phases)
{
    if (phase == 0 || phase + 1 == phases) return 0;
    if (gaps) return phase % 2 == 0 ? 0 : phase % 4 == 1 ? 1 : -1;
    return phase % 2 == 1 ? 1 : -1;
}

void plan_step(const list_node_t& para, const command_sink_t& sink)
{
    const uint64_t phases = step_phases(para);
    const auto seconds = static_cast<uint64_t>(taken_number(field_kind::whole_seconds, number_of(para, "intervals")));
    const uint8_t loop = small_of(para, "loop_id");
    const bool gaps = flag_set(para, "reset_flag");
    const double amp = number_of(para, "amp");
    // Ticks are counted from 1, so the first phase is one short; the tick that ends the motion is at rest.
    for (uint64_t phase = 0; phase < phases; phase++) {
        const uint64_t ticks = seconds * TICKS_PER_SECOND - (phase == 0 ? 1 : 0);
        sink(ticks, step_command(step_loop(loop), loop, amp * step_sign(gaps, phase, phases)));
    }
    sink(1, {});
}

void plan_sweep(const list_node_t& para, const command_sink_t& sink)
{
    command_t command;
    command.excites = sweep_loop(small_of(para, "inj_loop"));
    command.excited = taken_number(field_kind::tenths, number_of(para, "amp"));
    sink(1 + ticks_beyond(number_of(para, "duration") + OVERTIME), command);
}

plan_end_t plan_line(const list_node_t& para, const craft_t& craft, const command_sink_t& sink)
{
    LinePlan line(para, craft);
    command_t command;
    while (line.next(command))
        sink(1, command);
    sink(1, {});
    return {false, line.at_distance(), line.distance()};
}

}  // namespace

loop_kind step_loop(uint8_t loop_id)
{
    switch (loop_id) {
        case kAttiX:
        case kAttiY:
        case kAttiStbX:
            return loop_kind::tilt;
        case kAttiZ:
            return loop_kind::heading;
        case kVelX:
        case kVelY:
            return loop_kind::speed;
        case kVertPos:
            return loop_kind::height;
        default:
            return loop_kind::none;
    }
}

loop_kind sweep_loop(uint8_t inj_loop)
{
    constexpr loop_kind KINDS[kLoopNum] = {
        loop_kind::rate,  loop_kind::rate,    loop_kind::rate,  loop_kind::rate,   loop_kind::tilt,
        loop_kind::tilt,  loop_kind::heading, loop_kind::speed, loop_kind::speed,  loop_kind::none,
        loop_kind::none,  loop_kind::none,    loop_kind::climb, loop_kind::height, loop_kind::tilt,
        loop_kind::speed, loop_kind::none,    loop_kind::tilt,  loop_kind::tilt,
    };
    return inj_loop < kLoopNum ? KINDS[inj_loop] : loop_kind::none;
}

uint64_t step_phases(const list_node_t& para_cfg)
{
    const uint64_t steps = small_of(para_cfg, "repeat_times");
    return flag_set(para_cfg, "reset_flag") ? 2 * steps + 1 : steps + 3;
}

plan_end_t plan_entry(const list_entry_t& entry, const craft_t& craft, const command_sink_t& sink)
{
    switch (entry.motion) {
        case MOTION_HOVER:
            sink(ticks_beyond(number_of(*entry.para_cfg, "duration")), {});
            return {};
        case MOTION_STEP:
            plan_step(*entry.para_cfg, sink);
            return {};
        case MOTION_SWEEP:
            plan_sweep(*entry.para_cfg, sink);
            return {};
        case MOTION_LINE:
            return plan_line(*entry.para_cfg, craft, sink);
        default:
            return {.open = true};
    }
}

}  // namespace peers
