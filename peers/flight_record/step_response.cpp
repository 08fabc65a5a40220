#include "flight_record/step_response.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace peers {
namespace {

constexpr double SETTLED = 0.05;
constexpr double RISE_FROM = 0.1;
constexpr double RISE_TO = 0.9;
constexpr double LEAST_JUMP = 1e-6;

// One step: rows from `begin` on, where the command has jumped, to before `end`.
struct step_t {
    size_t begin;
    size_t end;
    double from;
    double size;
};

double jump_at(const response_record_t& record, size_t row)
{
    const double jump = record.commands[row] - record.commands[row - 1];
    return std::isfinite(jump) ? jump : 0;
}

std::vector<step_t> find_steps(const response_record_t& record)
{
    double largest = 0;
    for (size_t row = 1; row < record.times.size(); row++)
        largest = std::max(largest, std::fabs(jump_at(record, row)));
    std::vector<step_t> steps;
    if (largest < LEAST_JUMP) return steps;
    for (size_t row = 1; row < record.times.size(); row++) {
        const double jump = jump_at(record, row);
        if (std::fabs(jump) < largest / 2) continue;
        if (!steps.empty()) steps.back().end = row;
        steps.push_back({row, record.times.size(), record.commands[row - 1], jump});
    }
    return steps;
}

// The value as a part of the step.
double part_at(const response_record_t& record, const step_t& step, size_t row)
{
    return (record.values[row] - step.from) / step.size;
}

// When the value first gets to that part of the step; between two rows as on a straight line.
std::optional<double> first_at(const response_record_t& record, const step_t& step, double part)
{
    for (size_t row = step.begin; row < step.end; row++) {
        const double here = part_at(record, step, row);
        if (!(here >= part)) continue;
        const double before = row == step.begin ? here : part_at(record, step, row - 1);
        if (!(before < part)) return record.times[row];
        const double way = (part - before) / (here - before);
        return record.times[row - 1] + way * (record.times[row] - record.times[row - 1]);
    }
    return std::nullopt;
}

std::optional<double> rise_time(const response_record_t& record, const step_t& step)
{
    const std::optional<double> left = first_at(record, step, RISE_FROM);
    const std::optional<double> arrived = first_at(record, step, RISE_TO);
    if (!left || !arrived) return std::nullopt;
    return *arrived - *left;
}

double overshoot(const response_record_t& record, const step_t& step)
{
    double most = 0;
    for (size_t row = step.begin; row < step.end; row++)
        most = std::max(most, part_at(record, step, row) - 1);
    return most;
}

bool settled_at(const response_record_t& record, const step_t& step, size_t row)
{
    return std::fabs(part_at(record, step, row) - 1) <= SETTLED;
}

std::optional<double> settle_time(const response_record_t& record, const step_t& step)
{
    size_t row = step.end;
    while (row > step.begin && settled_at(record, step, row - 1))
        row--;
    if (row == step.end) return std::nullopt;
    double entered = record.times[row];
    if (row > step.begin) {
        const double outside = std::fabs(part_at(record, step, row - 1) - 1);
        const double inside = std::fabs(part_at(record, step, row) - 1);
        if (outside > inside)
            entered -= (SETTLED - inside) / (outside - inside) * (record.times[row] - record.times[row - 1]);
    }
    return entered - record.times[step.begin];
}

double steady_error(const response_record_t& record, const step_t& step)
{
    double sum = 0;
    size_t count = 0;
    for (size_t row = step.end - (step.end - step.begin + 4) / 5; row < step.end; row++) {
        const double error = record.values[row] - record.commands[row];
        if (!std::isfinite(error)) continue;
        sum += error;
        count++;
    }
    return count == 0 ? 0 : sum / static_cast<double>(count);
}

step_measure_t measure(const response_record_t& record, const step_t& step)
{
    return {record.times[step.begin],
            record.times[step.end - 1],
            step.from,
            step.size,
            rise_time(record, step),
            settle_time(record, step),
            overshoot(record, step),
            steady_error(record, step)};
}

}  // namespace

std::vector<step_measure_t> measure_each_step(const response_record_t& record)
{
    std::vector<step_measure_t> measures;
    for (const step_t& step : find_steps(record))
        measures.push_back(measure(record, step));
    return measures;
}

std::optional<step_figures_t> measure_steps(const response_record_t& record)
{
    const std::vector<step_measure_t> steps = measure_each_step(record);
    if (steps.empty()) return std::nullopt;
    step_figures_t figures;
    unsigned risen = 0;
    unsigned settled = 0;
    double rise_s = 0;
    for (const step_measure_t& step : steps) {
        figures.steps++;
        figures.overshoot = std::max(figures.overshoot, step.overshoot);
        settled += step.settle_s ? 1 : 0;
        risen += step.rise_s ? 1 : 0;
        rise_s += step.rise_s.value_or(0);
    }
    if (risen > 0) figures.rise_s = rise_s / risen;
    figures.settled_part = static_cast<double>(settled) / figures.steps;
    return figures;
}

}  // namespace peers
