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

std::optional<double> rise_time(const response_record_t& record, const step_t& step)
{
    std::optional<double> left;
    for (size_t row = step.begin; row < step.end; row++) {
        const double part = part_at(record, step, row);
        if (!left && part >= RISE_FROM) left = record.times[row];
        if (left && part >= RISE_TO) return record.times[row] - *left;
    }
    return std::nullopt;
}

double overshoot(const response_record_t& record, const step_t& step)
{
    double most = 0;
    for (size_t row = step.begin; row < step.end; row++)
        most = std::max(most, part_at(record, step, row) - 1);
    return most;
}

}  // namespace

std::optional<step_figures_t> measure_steps(const response_record_t& record)
{
    const std::vector<step_t> steps = find_steps(record);
    if (steps.empty()) return std::nullopt;
    step_figures_t figures;
    unsigned risen = 0;
    unsigned settled = 0;
    double rise_s = 0;
    for (const step_t& step : steps) {
        figures.steps++;
        figures.overshoot = std::max(figures.overshoot, overshoot(record, step));
        settled += std::fabs(part_at(record, step, step.end - 1) - 1) <= SETTLED ? 1 : 0;
        const std::optional<double> rise = rise_time(record, step);
        if (!rise) continue;
        risen++;
        rise_s += *rise;
    }
    if (risen > 0) figures.rise_s = rise_s / risen;
    figures.settled_part = static_cast<double>(settled) / figures.steps;
    return figures;
}

}  // namespace peers
