#include "flight_report/sweep_measures.h"

#include <algorithm>
#include <cmath>

#include "flight_report/loop_signals.h"

namespace peers {
namespace {

constexpr double LEAST_PERIODS = 2;  // of a frequency, in the sweep
constexpr double BEFORE_S = 0.5;
constexpr double BEHIND_S = 3;
constexpr size_t MOST_SWEEPS = 255;  // a list has no more entries
constexpr size_t LEAST_ROWS = 100;
constexpr double SAME_STEP = 0.01;  // of a row's length: the rows are evenly spaced

struct rows_t {
    size_t begin;
    size_t end;
};

// A sweep may follow another without a row between them: its phase begins anew.
std::vector<rows_t> find_sweeps(const FlightRows& rows)
{
    const std::span<const double> loop = rows.column("excitation", "loop");
    const std::span<const double> phase = rows.column("excitation", "phase_rad");
    std::vector<rows_t> found;
    for (size_t row = 0; row < rows.size(); row++) {
        if (loop[row] == 0) continue;
        const bool goes_on = row > 0 && loop[row] == loop[row - 1] && phase[row] >= phase[row - 1];
        if (!goes_on && found.size() == MOST_SWEEPS) break;
        if (!goes_on) found.push_back({row, row});
        found.back().end = row + 1;
    }
    return found;
}

// A little of what is around the sweep counts as well: what it was before, and the rest of the answer behind it. Less
// where another sweep comes, the loop did not run or the record ends. What else the aircraft does farther away, such as
// its take-off, would only be noise.
rows_t widened(const FlightRows& rows, const loop_signals_t& all, rows_t sweep, double step)
{
    const std::span<const double> loop = rows.column("excitation", "loop");
    const auto counts = [&](size_t row) {
        return loop[row] == 0 && std::isfinite(all.commands[row]) && std::isfinite(all.values[row]);
    };
    for (auto left = static_cast<size_t>(BEFORE_S / step); left > 0 && sweep.begin > 0 && counts(sweep.begin - 1);
         left--)
        sweep.begin--;
    for (auto left = static_cast<size_t>(BEHIND_S / step); left > 0 && sweep.end < rows.size() && counts(sweep.end);
         left--)
        sweep.end++;
    return sweep;
}

bool evenly_spaced(std::span<const double> times, double step)
{
    const auto uneven = [step](double left, double right) { return std::fabs(right - left - step) > SAME_STEP * step; };
    return std::adjacent_find(times.begin(), times.end(), uneven) == times.end();
}

sweep_measure_t describe(const FlightRows& rows, rows_t sweep)
{
    sweep_measure_t measure;
    measure.begin = rows.times()[sweep.begin];
    measure.end = rows.times()[sweep.end - 1];
    measure.loop = byte_of(rows.column("excitation", "loop")[sweep.begin]);
    measure.point = byte_of(rows.column("excitation", "point")[sweep.begin]);
    const auto hertz = rows.column("excitation", "frequency_hz").subspan(sweep.begin, sweep.end - sweep.begin);
    const auto [least, most] = std::minmax_element(hertz.begin(), hertz.end());
    measure.low_hz = *least;
    measure.high_hz = *most;
    return measure;
}

// Nothing feeds the climb acceleration back, so there is no open loop.
void forget_margins(loop_margins_t& margins)
{
    const std::optional<double> bandwidth = margins.bandwidth_hz;
    margins = {};
    margins.bandwidth_hz = bandwidth;
    margins.remark = "no margins: no loop is closed around it";
}

// Inside the loop nothing is told to it: the value is then the answer to the excitation itself.
void take_response(sweep_measure_t& measure, const loop_signals_t& signals, size_t segment, double rate_hz)
{
    const bool inside = measure.point != 0;
    const swept_signals_t swept = {rate_hz, signals.excitations, inside ? signals.excitations : signals.commands,
                                   signals.values};
    const double lowest = LEAST_PERIODS * rate_hz / static_cast<double>(segment);
    measure.response = measure_response(swept, segment, std::max(measure.low_hz, lowest), measure.high_hz);
    if (measure.response.empty()) {
        measure.why_not = "the loop did not run all the time, or did not answer";
    } else if (inside) {
        measure.margins.remark = "excited inside the loop: this is the value's answer to the excitation";
    } else {
        measure.margins = margins_of(measure.response);
        if (measure.loop == kVertAcc) forget_margins(measure.margins);
    }
}

sweep_measure_t measure_sweep(const FlightRows& rows, rows_t sweep)
{
    sweep_measure_t measure = describe(rows, sweep);
    const size_t segment = sweep.end - sweep.begin;
    measure.why_not = "it is too short";
    if (segment < LEAST_ROWS || !(measure.high_hz > 0)) return measure;
    measure.why_not = "its loop is unknown";
    const loop_signals_t all = signals_of(rows, measure.loop, 0, rows.size());
    if (all.times.empty()) return measure;
    const double step = (measure.end - measure.begin) / static_cast<double>(segment - 1);
    const rows_t wide = widened(rows, all, sweep, step);
    const loop_signals_t signals = signals_of(rows, measure.loop, wide.begin, wide.end);
    measure.why_not = "rows of the record are missing in it";
    if (!evenly_spaced(signals.times, step)) return measure;
    measure.why_not.clear();
    take_response(measure, signals, segment, 1 / step);
    return measure;
}

}  // namespace

std::vector<sweep_measure_t> measure_sweeps(const FlightRows& rows)
{
    std::vector<sweep_measure_t> measures;
    for (const rows_t& sweep : find_sweeps(rows))
        measures.push_back(measure_sweep(rows, sweep));
    return measures;
}

}  // namespace peers
