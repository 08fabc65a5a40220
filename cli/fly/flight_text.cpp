#include "fly/flight_text.h"

#include <cstring>
#include <nlohmann/json.hpp>

#include "factory/test_watch.h"

namespace cli {
namespace {

constexpr const char* NEWS = "beat";

json steps_json(const sim::flight_figures_t& figures)
{
    json steps = json::array();
    for (const auto& [loop, step] : figures.steps) {
        steps.push_back({{"loop", peers::control_loop_text(loop)},
                         {"steps", step.steps},
                         {"rise_s", step.rise_s ? json(*step.rise_s) : json()},
                         {"overshoot", step.overshoot},
                         {"settled_part", step.settled_part}});
    }
    return steps;
}

}  // namespace

std::string news_line(const flight_news_t& news)
{
    const afqt_heart_beat_t& beat = news.beat;
    return json{{NEWS, {beat.afqt_state, beat.err_code, beat.motion_id, beat.motion_num, beat.motion_loop}},
                {"seconds", news.seconds}}
        .dump();
}

std::optional<flight_news_t> read_news(const std::string& line)
{
    const json object = json::parse(line, nullptr, false);
    if (!object.is_object() || !object.contains(NEWS)) return std::nullopt;
    const json& beat = object[NEWS];
    flight_news_t news = {{beat[0], beat[1], beat[2], beat[3], beat[4]}, object["seconds"]};
    return news;
}

json flight_json(uint64_t seed, const drawn_t& drawn, const sim::flight_end_t& end)
{
    const sim::flight_figures_t& figures = end.figures;
    return {{"seed", seed},
            {"outcome", peers::outcome_name(end.report.outcome)},
            {"outcome_number", static_cast<int>(end.report.outcome)},
            {"what", end.report.what},
            {"next", end.report.next},
            {"seconds", end.seconds},
            {"beats", end.report.beats},
            {"motors_off", end.motors_off},
            {"wind_m_s", drawn.wind},
            {"wind_from_deg", drawn.wind_from},
            {"gusts_m_s", drawn.aircraft.wind.gusts},
            {"mass", drawn.aircraft.mass},
            {"gain", drawn.aircraft.gain},
            {"path_m", figures.path_m},
            {"highest_m", figures.highest_m},
            {"farthest_m", figures.farthest_m},
            {"landed_m", figures.landed_m},
            {"worst_tilt_deg", figures.worst_tilt_deg},
            {"steps", steps_json(figures)},
            {"events", end.events}};
}

peers::test_report_t report_of(const json& flight)
{
    peers::test_report_t report;
    report.outcome = static_cast<peers::test_outcome>(flight["outcome_number"].get<int>());
    report.what = flight["what"];
    report.next = flight["next"];
    report.beats = flight["beats"];
    return report;
}

}  // namespace cli
