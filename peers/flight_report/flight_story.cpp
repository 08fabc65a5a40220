#include "flight_report/flight_story.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "afqt_wire.h"
#include "factory/test_watch.h"
#include "flight_controller/aircraft_model.h"
#include "flight_controller/fc_event.h"
#include "flight_report/motion_marks.h"

namespace peers {
namespace {

constexpr double PATH_GRAIN_M = 0.2;  // shorter ways are the sensors' noise

bool in_air(double state)
{
    return state == static_cast<double>(flight_state::in_air);
}

std::vector<span_t> modes_of(const FlightRows& rows)
{
    const std::span<const double> mode = rows.column("mode", "display_mode");
    std::vector<span_t> modes;
    for (size_t row = 0; row < rows.size(); row++) {
        const double seconds = rows.times()[row];
        if (!modes.empty()) modes.back().end = seconds;
        if (row > 0 && mode[row] == mode[row - 1]) continue;
        modes.push_back({seconds, seconds, mode_name(byte_of(mode[row]))});
    }
    return modes;
}

// The service's clock began at another time: it saw the aircraft in the air when that held after the take-off.
std::vector<span_t> states_of(const service_log_t& log, const std::vector<span_t>& modes, double end_s)
{
    const auto risen = std::find_if(modes.begin(), modes.end(),
                                    [](const span_t& one) { return one.text == mode_name(KCTRL_AUTOTAKEOFF); });
    std::vector<span_t> states;
    if (risen == modes.end() || !log.airborne_s) return states;
    const double shift = risen->end - *log.airborne_s;
    for (const service_state_t& state : log.states) {
        const double begin = std::min(state.seconds + shift, end_s);
        if (!states.empty()) states.back().end = begin;
        states.push_back({begin, end_s, test_state_text(state.state)});
    }
    return states;
}

void measure_way(const FlightRows& rows, flight_story_t& story)
{
    const auto north = rows.column("position", "north_m");
    const auto east = rows.column("position", "east_m");
    const auto height = rows.column("position", "height_m");
    const auto roll = rows.column("attitude", "roll_deg");
    const auto pitch = rows.column("attitude", "pitch_deg");
    const auto state = rows.column("mode", "flight_state");
    size_t last = 0;
    for (size_t row = 0; row < rows.size(); row++) {
        story.highest_m = std::fmax(story.highest_m, height[row]);
        story.farthest_m = std::fmax(story.farthest_m, std::hypot(north[row], east[row]));
        story.worst_tilt_deg = std::fmax(story.worst_tilt_deg, std::hypot(roll[row], pitch[row]));
        if (row > 0 && in_air(state[row])) story.seconds += rows.times()[row] - rows.times()[row - 1];
        const double moved = std::hypot(north[row] - north[last], east[row] - east[last], height[row] - height[last]);
        if (!(moved >= PATH_GRAIN_M)) continue;
        story.path_m += moved;
        last = row;
    }
}

bool took_off(const FlightRows& rows)
{
    const auto state = rows.column("mode", "flight_state");
    return std::any_of(state.begin(), state.end(), in_air);
}

// The service lands out of external control; without it somebody else does.
bool landed_by_service(const std::vector<span_t>& modes)
{
    for (size_t i = 1; i < modes.size(); i++) {
        const bool lands = modes[i].text == mode_name(KCTRL_AUTOLANDING);
        if (lands && modes[i - 1].text == mode_name(KCTRL_NAVI_JOYSTICK)) return true;
    }
    return false;
}

std::string metres(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.2f m", value);
    return text;
}

void judge(flight_story_t& story, flight_verdict verdict, const std::string& what)
{
    story.verdict = verdict;
    story.what = what;
}

void judge_end(const FlightRows& rows, const service_log_t* log, flight_story_t& story)
{
    const std::string landed =
        story.landed_m ? "; the aircraft landed " + metres(*story.landed_m) + " from its start" : "";
    if (!took_off(rows)) return judge(story, flight_verdict::not_flown, "the aircraft did not take off");
    if (log != nullptr && log->failed_in)
        return judge(story, flight_verdict::failed, std::string("the service gave up") + landed);
    if (in_air(rows.column("mode", "flight_state").back()))
        return judge(story, flight_verdict::unfinished, "the record ends in the air");
    if ((log != nullptr && log->switched_off) || !landed_by_service(story.modes))
        return judge(story, flight_verdict::stopped,
                     "the test was switched off or lost control before its end" + landed);
    judge(story, flight_verdict::flown, "the list was flown" + landed);
}

void add_reasons(const service_log_t* log, std::optional<size_t> list_motions, flight_story_t& story)
{
    if (log != nullptr && log->failed_in) {
        story.reasons.push_back(std::string("while it ") + test_state_text(*log->failed_in) + ": " +
                                failure_text(*log->failed_in));
    }
    if (log != nullptr) story.reasons.insert(story.reasons.end(), log->problems.begin(), log->problems.end());
    if (story.motions.empty()) {
        story.reasons.emplace_back("no motion is marked in the record");
        return;
    }
    const motion_span_t& last = story.motions.back();
    std::string text = "last motion: " + std::to_string(last.number);
    if (list_motions) text += " of " + std::to_string(*list_motions);
    story.reasons.push_back(text + ", " + last.span.text);
}

}  // namespace

const char* verdict_name(flight_verdict verdict)
{
    switch (verdict) {
        case flight_verdict::flown:
            return "flown";
        case flight_verdict::stopped:
            return "stopped";
        case flight_verdict::failed:
            return "failed";
        case flight_verdict::not_flown:
            return "not_flown";
        case flight_verdict::unfinished:
            return "unfinished";
    }
    return "unknown";
}

flight_story_t tell_flight(const FlightRecord& record, const FlightRows& rows, const service_log_t* log,
                           std::optional<size_t> list_motions)
{
    flight_story_t story;
    story.what = "the record has no row";
    if (rows.size() == 0) return story;
    const double end = rows.times().back();
    story.modes = modes_of(rows);
    if (log != nullptr) story.states = states_of(*log, story.modes, end);
    story.motions = motions_of(record, end);
    measure_way(rows, story);
    const bool landed = took_off(rows) && !in_air(rows.column("mode", "flight_state").back());
    if (landed) {
        story.landed_m =
            std::hypot(rows.column("position", "north_m").back(), rows.column("position", "east_m").back());
    }
    judge_end(rows, log, story);
    add_reasons(log, list_motions, story);
    if (record.cut_at) story.reasons.emplace_back("the record was cut: it ends within a row");
    return story;
}

}  // namespace peers
