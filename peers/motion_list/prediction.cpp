#include "motion_list/prediction.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "motion_list/fields.h"

namespace peers {
namespace {

void raise(double& most, double value)
{
    most = std::max(most, std::fabs(value));
}

class PaperFlight {
public:
    PaperFlight(const craft_t& craft, const paper_sink_t& told) : craft_(craft), told_(told) {}

    void fly(const list_entry_t& entry);
    prediction_t take() { return std::move(result_); }

private:
    void follow(uint64_t ticks, const command_t& command);
    void move(double seconds, const command_t& command);
    void widen(const command_t& command);
    void widen_sweep(const command_t& command);
    void widen_place(const command_t& command);
    void go_back(const list_node_t& flags);
    void tell(uint64_t ticks, const command_t& command) const;

    const craft_t& craft_;
    const paper_sink_t& told_;
    prediction_t result_;
    paper_place_t place_;
    double entry_heading_ = 0;  // degrees
};

void PaperFlight::fly(const list_entry_t& entry)
{
    uint64_t ticks = 0;
    entry_heading_ = place_.heading;
    const plan_end_t end = plan_entry(entry, craft_, [&](uint64_t count, const command_t& command) {
        ticks += count;
        follow(count, command);
    });
    result_.entries.push_back({entry, std::nullopt, end});
    if (end.open) {
        go_back(*entry.para_cfg);
        result_.complete = false;
    } else {
        result_.entries.back().seconds = static_cast<double>(ticks) * TICK_SECONDS;
    }
    result_.end = place_;
}

void PaperFlight::follow(uint64_t ticks, const command_t& command)
{
    tell(ticks, command);
    widen(command);
    move(static_cast<double>(ticks) * TICK_SECONDS, command);
    widen_place(command);
    tell(ticks, command);
}

void PaperFlight::move(double seconds, const command_t& command)
{
    const double heading = entry_heading_ * std::numbers::pi / 180;
    const double ahead = command.speed[0] * seconds;
    const double right = command.speed[1] * seconds;
    place_.ahead += ahead * std::cos(heading) - right * std::sin(heading);
    place_.right += ahead * std::sin(heading) + right * std::cos(heading);
    place_.height += command.climb * seconds;
    place_.heading += command.turn * seconds;
    result_.seconds += seconds;
}

void PaperFlight::widen(const command_t& command)
{
    envelope_t& most = result_.envelope;
    raise(most.tilt, std::hypot(command.tilt[0], command.tilt[1]));
    raise(most.speed, std::hypot(command.speed[0], command.speed[1]));
    raise(most.turn, command.turn);
    most.climb = std::max(most.climb, command.climb);
    most.sink = std::max(most.sink, -command.climb);
    widen_sweep(command);
}

void PaperFlight::widen_sweep(const command_t& command)
{
    envelope_t& most = result_.envelope;
    if (command.excites == loop_kind::tilt) raise(most.tilt, command.excited);
    if (command.excites == loop_kind::speed) raise(most.speed, command.excited);
    if (command.excites == loop_kind::climb) {
        raise(most.climb, command.excited);
        raise(most.sink, command.excited);
    }
}

// A sweep goes to both sides of the place.
void PaperFlight::widen_place(const command_t& command)
{
    envelope_t& most = result_.envelope;
    const double swing = command.excites == loop_kind::height ? command.excited : 0;
    most.highest = std::max(most.highest, place_.height + command.height + swing);
    most.lowest = std::min(most.lowest, place_.height + command.height - swing);
    const double turned = command.excites == loop_kind::heading ? command.excited : 0;
    raise(most.heading, std::fabs(place_.heading + command.heading) + turned);
    raise(most.farthest, std::hypot(place_.ahead, place_.right));
}

void PaperFlight::go_back(const list_node_t& flags)
{
    if (flag_set(flags, "pos_flag")) place_.ahead = place_.right = 0;
    if (flag_set(flags, "alt_flag")) place_.height = 0;
    if (flag_set(flags, "yaw_flag")) place_.heading = 0;
}

void PaperFlight::tell(uint64_t ticks, const command_t& command) const
{
    if (!told_) return;
    paper_place_t asked = place_;
    asked.height += command.height;
    asked.heading += command.heading;
    told_({result_.seconds, ticks, command, asked});
}

}  // namespace

prediction_t predict(std::span<const list_entry_t> flown, const craft_t& craft, const paper_sink_t& told)
{
    PaperFlight flight(craft, told);
    for (const list_entry_t& entry : flown)
        flight.fly(entry);
    return flight.take();
}

}  // namespace peers
