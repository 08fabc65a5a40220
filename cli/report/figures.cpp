#include "report/figures.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "console.h"
#include "factory/test_watch.h"
#include "table.h"
#include "units.h"

namespace cli {
namespace {

json optional_number(const std::optional<double>& value)
{
    return value ? short_number(*value) : json();
}

json span_json(const peers::span_t& span)
{
    return {{"begin", short_number(span.begin, 7)}, {"end", short_number(span.end, 7)}, {"text", span.text}};
}

json spans_json(const std::vector<peers::span_t>& spans)
{
    json list = json::array();
    for (const peers::span_t& span : spans)
        list.push_back(span_json(span));
    return list;
}

json motion_json(const peers::motion_span_t& motion)
{
    json object = span_json(motion.span);
    object["number"] = motion.number;
    object["kind"] = motion.motion_id == NONE ? "" : peers::motion_text(motion.motion_id);
    object["loop"] = peers::control_loop_text(motion.loop);
    return object;
}

json step_json(const peers::step_measure_t& step)
{
    return {{"begin", short_number(step.begin, 7)},       {"size", short_number(step.size)},
            {"rise_s", optional_number(step.rise_s)},     {"overshoot", short_number(step.overshoot)},
            {"settle_s", optional_number(step.settle_s)}, {"steady_error", short_number(step.steady_error)}};
}

json step_motion_json(const peers::step_motion_t& stepped)
{
    json object = motion_json(stepped.motion);
    object["unit"] = peers::loop_unit(stepped.motion.loop);
    object["why_not"] = stepped.why_not;
    object["steps"] = json::array();
    for (const peers::step_measure_t& step : stepped.steps)
        object["steps"].push_back(step_json(step));
    return object;
}

json response_json(const std::vector<peers::response_point_t>& points)
{
    json response = {{"hz", json::array()},        {"magnitude_db", json::array()}, {"phase_deg", json::array()},
                     {"coherence", json::array()}, {"deviation", json::array()},    {"sure", json::array()}};
    for (const peers::response_point_t& point : points) {
        response["hz"].push_back(short_number(point.hz));
        response["magnitude_db"].push_back(short_number(point.magnitude_db(), 4));
        response["phase_deg"].push_back(short_number(point.phase_deg, 4));
        response["coherence"].push_back(short_number(point.coherence, 4));
        response["deviation"].push_back(short_number(point.deviation, 3));
        response["sure"].push_back(point.sure());
    }
    return response;
}

json sweep_json(const peers::sweep_measure_t& sweep)
{
    const peers::loop_margins_t& margins = sweep.margins;
    return {{"begin", short_number(sweep.begin, 7)},
            {"end", short_number(sweep.end, 7)},
            {"loop", peers::control_loop_text(sweep.loop)},
            {"unit", peers::loop_unit(sweep.loop)},
            {"point", sweep.point},
            {"low_hz", short_number(sweep.low_hz)},
            {"high_hz", short_number(sweep.high_hz)},
            {"bandwidth_hz", optional_number(margins.bandwidth_hz)},
            {"crossover_hz", optional_number(margins.crossover_hz)},
            {"phase_margin_deg", optional_number(margins.phase_margin_deg)},
            {"phase_crossover_hz", optional_number(margins.phase_crossover_hz)},
            {"gain_margin_db", optional_number(margins.gain_margin_db)},
            {"remark", margins.remark},
            {"why_not", sweep.why_not},
            {"response", response_json(sweep.response)}};
}

std::string text(const char* format, const std::optional<double>& value, double factor = 1)
{
    if (!value) return "-";
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, format, *value * factor);
    return buffer;
}

void print_steps(const flight_run_t& run)
{
    if (run.steps.empty()) return;
    table_t table = {{"step", ">size", ">rise", ">overshoot", ">settles", ">steady error"}};
    for (const peers::step_motion_t& stepped : run.steps) {
        const char* loop = peers::control_loop_text(stepped.motion.loop);
        const std::string unit = std::string(" ") + peers::loop_unit(stepped.motion.loop);
        if (!stepped.why_not.empty()) table.push_back({loop, "-", "-", "-", "-", "-"});
        for (const peers::step_measure_t& step : stepped.steps) {
            table.push_back({loop, text("%+.3g", step.size) + unit, text("%.3f s", step.rise_s),
                             text("%.1f %%", step.overshoot, 100), text("%.3f s", step.settle_s),
                             text("%+.3f", step.steady_error) + unit});
        }
    }
    std::printf("\n");
    print_table(table);
}

void print_sweeps(const flight_run_t& run)
{
    if (run.sweeps.empty()) return;
    table_t table = {{"sweep", ">from", ">to", ">bandwidth", ">phase margin", ">gain margin", "remark"}};
    for (const peers::sweep_measure_t& sweep : run.sweeps) {
        const peers::loop_margins_t& margins = sweep.margins;
        table.push_back({std::string(peers::control_loop_text(sweep.loop)) + (sweep.point == 0 ? "" : ", inside"),
                         text("%.2f Hz", sweep.low_hz), text("%.2f Hz", sweep.high_hz),
                         text("%.2f Hz", margins.bandwidth_hz), text("%.0f°", margins.phase_margin_deg),
                         text("%.1f dB", margins.gain_margin_db),
                         sweep.why_not.empty() ? margins.remark : "not measured: " + sweep.why_not});
    }
    std::printf("\n");
    print_table(table);
}

}  // namespace

// Through text, which has just the digits that JSON then prints.
json short_number(double value, int digits)
{
    if (!std::isfinite(value)) return {};
    char text[32];
    std::snprintf(text, sizeof text, "%.*g", digits, value);
    return std::strtod(text, nullptr);
}

json figures_json(const flight_run_t& run)
{
    const peers::flight_story_t& story = run.story;
    json figures = {{"record", run.path},
                    {"verdict", peers::verdict_name(story.verdict)},
                    {"what", story.what},
                    {"reasons", story.reasons},
                    {"missing", run.missing},
                    {"seconds_in_air", short_number(story.seconds)},
                    {"path_m", short_number(story.path_m)},
                    {"highest_m", short_number(story.highest_m)},
                    {"farthest_m", short_number(story.farthest_m)},
                    {"worst_tilt_deg", short_number(story.worst_tilt_deg)},
                    {"landed_m", optional_number(story.landed_m)},
                    {"modes", spans_json(story.modes)},
                    {"states", spans_json(story.states)},
                    {"motions", json::array()},
                    {"steps", json::array()},
                    {"sweeps", json::array()}};
    for (const peers::motion_span_t& motion : story.motions)
        figures["motions"].push_back(motion_json(motion));
    for (const peers::step_motion_t& stepped : run.steps)
        figures["steps"].push_back(step_motion_json(stepped));
    for (const peers::sweep_measure_t& sweep : run.sweeps)
        figures["sweeps"].push_back(sweep_json(sweep));
    return figures;
}

void print_figures(const flight_run_t& run)
{
    const peers::flight_story_t& story = run.story;
    const bool good = story.verdict == peers::flight_verdict::flown;
    std::printf("%s: %s\n", run.path.c_str(), styled(good ? style::good : style::bad, story.what).c_str());
    for (const std::string& reason : story.reasons)
        std::printf("  %s\n", reason.c_str());
    std::printf("  %s in the air, %.1f m flown, up to %.1f m high and %.1f m away, tilted %.0f° at most\n",
                duration_text(story.seconds).c_str(), story.path_m, story.highest_m, story.farthest_m,
                story.worst_tilt_deg);
    for (const std::string& missing : run.missing)
        std::printf("  not there: %s\n", missing.c_str());
    print_steps(run);
    print_sweeps(run);
}

}  // namespace cli
