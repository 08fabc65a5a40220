#include "report/series.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "report/figures.h"

namespace cli {
namespace {

constexpr size_t PATH_POINTS = 2400;
constexpr double PATH_STEP_S = 0.5;
constexpr size_t STEP_POINTS = 400;
constexpr double NONE = std::numeric_limits<double>::quiet_NaN();

struct curve_t {
    const char* name;
    const char* topic;
    const char* field;
};

constexpr curve_t CURVES[] = {
    {"roll", "attitude", "roll_deg"},       {"roll_cmd", "commands", "roll_deg"},
    {"pitch", "attitude", "pitch_deg"},     {"pitch_cmd", "commands", "pitch_deg"},
    {"yaw", "attitude", "yaw_deg"},         {"yaw_cmd", "commands", "yaw_deg"},
    {"forward", "velocity", "forward_m_s"}, {"forward_cmd", "commands", "forward_m_s"},
    {"right", "velocity", "right_m_s"},     {"right_cmd", "commands", "right_m_s"},
    {"climb", "velocity", "climb_m_s"},     {"climb_cmd", "commands", "climb_m_s"},
    {"height", "position", "height_m"},     {"height_cmd", "commands", "height_m"},
};

// The least and the greatest value so far, and where they were.
struct extremes_t {
    double least = NONE, greatest = NONE;
    size_t least_at = 0, greatest_at = 0;

    void take(double value, size_t row)
    {
        if (!std::isfinite(value)) return;
        if (!(least <= value)) {
            least = value;
            least_at = row;
        }
        if (!(greatest >= value)) {
            greatest = value;
            greatest_at = row;
        }
    }
};

json drawn(std::span<const double> times, std::span<const double> values, const bins_t& bins)
{
    std::vector<extremes_t> extremes(bins.count);
    const double width = (bins.end - bins.begin) / static_cast<double>(bins.count);
    for (size_t row = 0; row < times.size(); row++) {
        const double bin = std::clamp((times[row] - bins.begin) / width, 0.0, static_cast<double>(bins.count - 1));
        extremes[static_cast<size_t>(bin)].take(values[row], row);
    }
    json curve = json::array();
    for (const extremes_t& one : extremes) {
        const bool rises = one.least_at <= one.greatest_at;
        curve.push_back(short_number(rises ? one.least : one.greatest, 4));
        curve.push_back(short_number(rises ? one.greatest : one.least, 4));
    }
    return curve;
}

std::vector<double> since_take_off(const flight_run_t& run)
{
    std::vector<double> times(run.rows->times().begin(), run.rows->times().end());
    for (double& time : times)
        time -= run.take_off_s();
    return times;
}

}  // namespace

json bins_t::times() const
{
    const double width = (end - begin) / static_cast<double>(count);
    json list = json::array();
    for (size_t i = 0; i < 2 * count; i++)
        list.push_back(short_number(begin + width * (static_cast<double>(i) + 0.5) / 2, 6));
    return list;
}

bins_t bins_for(const std::vector<const flight_run_t*>& runs)
{
    bins_t bins = {0, 1e-3};
    for (const flight_run_t* run : runs) {
        bins.begin = std::min(bins.begin, run->rows->times().front() - run->take_off_s());
        bins.end = std::max(bins.end, run->rows->times().back() - run->take_off_s());
    }
    return bins;
}

json curves_of(const flight_run_t& run, const bins_t& bins)
{
    const std::vector<double> times = since_take_off(run);
    json curves = json::object();
    for (const curve_t& curve : CURVES)
        curves[curve.name] = drawn(times, run.rows->column(curve.topic, curve.field), bins);
    return curves;
}

json path_of(const flight_run_t& run)
{
    const auto north = run.rows->column("position", "north_m");
    const auto east = run.rows->column("position", "east_m");
    const auto height = run.rows->column("position", "height_m");
    const auto times = run.rows->times();
    const double step = std::min(PATH_STEP_S, (times.back() - times.front()) / PATH_POINTS);
    json path = json::array();
    double next = times.front();
    for (size_t row = 0; row < times.size() && path.size() < 2 * PATH_POINTS; row++) {
        const bool number = std::isfinite(north[row]) && std::isfinite(east[row]);
        if (!number || (times[row] < next && row + 1 != times.size())) continue;
        next = times[row] + step;
        path.push_back({short_number(north[row], 6), short_number(east[row], 6), short_number(height[row], 4)});
    }
    return path;
}

json step_curves(const peers::loop_signals_t& signals)
{
    json curves = {json::array(), json::array(), json::array()};
    const size_t stride = std::max<size_t>(1, signals.times.size() / STEP_POINTS);
    for (size_t row = 0; row < signals.times.size(); row += stride) {
        curves[0].push_back(short_number(signals.times[row] - signals.times.front(), 5));
        curves[1].push_back(short_number(signals.commands[row], 4));
        curves[2].push_back(short_number(signals.values[row], 4));
    }
    return curves;
}

}  // namespace cli
