#include "flight_report/loop_margins.h"

#include <cmath>
#include <numbers>
#include <vector>

namespace peers {
namespace {

constexpr double BANDWIDTH_DB = -3;
// At its low end a loop that follows its command is as near to one as this.
constexpr double UNITY_DB = 1.5;
constexpr double UNITY_DEG = 60;

// A curve over frequency.
struct curve_point_t {
    double hz;
    double value;
    double other;  // read where the value crosses
};

struct crossing_t {
    double hz;
    double other;
};

// The first crossing from above to below, between two points on the scale of a logarithm.
std::optional<crossing_t> falls_below(const std::vector<curve_point_t>& curve, double level)
{
    for (size_t i = 1; i < curve.size(); i++) {
        const curve_point_t& left = curve[i - 1];
        const curve_point_t& right = curve[i];
        if (!(left.value >= level && right.value < level)) continue;
        const double part = (left.value - level) / (left.value - right.value);
        return crossing_t{left.hz * std::pow(right.hz / left.hz, part), left.other + part * (right.other - left.other)};
    }
    return std::nullopt;
}

double decibel(std::complex<double> response)
{
    return 20 * std::log10(std::abs(response));
}

double phase_deg(std::complex<double> response)
{
    return std::arg(response) * 180 / std::numbers::pi;
}

struct open_loop_t {
    std::vector<curve_point_t> by_size;   // decibels, with the phase
    std::vector<curve_point_t> by_phase;  // degrees, with the size
};

open_loop_t open_loop_of(const std::vector<response_point_t>& points)
{
    open_loop_t open;
    for (const response_point_t& point : points) {
        const std::complex<double> loop = point.response / (1.0 - point.response);
        double phase = phase_deg(loop);
        const double before = open.by_size.empty() ? -90 : open.by_size.back().other;
        phase -= 360 * std::round((phase - before) / 360);
        open.by_size.push_back({point.hz, decibel(loop), phase});
        open.by_phase.push_back({point.hz, phase, decibel(loop)});
    }
    return open;
}

void add_remark(loop_margins_t& margins, const char* remark)
{
    if (!margins.remark.empty()) margins.remark += "; ";
    margins.remark += remark;
}

void take_open_loop(loop_margins_t& margins, const open_loop_t& open)
{
    if (const auto gain = falls_below(open.by_size, 0)) {
        margins.crossover_hz = gain->hz;
        margins.phase_margin_deg = 180 + gain->other;
    } else {
        add_remark(margins, "no phase margin: the open loop does not cross 0 dB in the sweep");
    }
    if (const auto phase = falls_below(open.by_phase, -180)) {
        margins.phase_crossover_hz = phase->hz;
        margins.gain_margin_db = -phase->other;
    } else {
        add_remark(margins, "no gain margin: the open loop does not reach -180° in the sweep");
    }
}

}  // namespace

loop_margins_t margins_of(std::span<const response_point_t> all)
{
    std::vector<response_point_t> points;
    for (const response_point_t& point : all) {
        if (point.coherence >= LEAST_COHERENCE) points.push_back(point);
    }
    loop_margins_t margins;
    if (points.empty()) {
        margins.remark = "no frequency with a coherence of 0.6 or more";
        return margins;
    }
    const response_point_t& low = points.front();
    if (std::fabs(low.magnitude_db()) > UNITY_DB || std::fabs(low.phase_deg) > UNITY_DEG) {
        margins.remark = "the loop does not follow its command at the sweep's low end (0 ± 1.5 dB, 0 ± 60°)";
        return margins;
    }
    std::vector<curve_point_t> closed;
    closed.reserve(points.size());
    for (const response_point_t& point : points)
        closed.push_back({point.hz, point.magnitude_db(), 0});
    if (const auto edge = falls_below(closed, BANDWIDTH_DB))
        margins.bandwidth_hz = edge->hz;
    else
        add_remark(margins, "no bandwidth: the response stays above -3 dB in the sweep");
    take_open_loop(margins, open_loop_of(points));
    return margins;
}

}  // namespace peers
