// What a loop makes of steps in its command, measured in a flight record.
#pragma once

#include <optional>
#include <span>
#include <vector>

namespace peers {

// One quantity over time; all three of one length, times rising.
struct response_record_t {
    std::span<const double> times;  // s
    std::span<const double> commands;
    std::span<const double> values;
};

// One step, until the next one or the record's end.
struct step_measure_t {
    double begin = 0;  // s, when the command jumps
    double end = 0;
    double from = 0;  // the command before
    double size = 0;
    std::optional<double> rise_s;    // from 10 to 90 % of the step, between rows as on a straight line
    std::optional<double> settle_s;  // from the jump until the value stays within 5 % of the step's size
    double overshoot = 0;            // of the step's size; 0 when the value stayed below
    double steady_error = 0;         // value less command, mean of the last fifth
};

// Takes every jump of the command of at least half the largest for a step. Values that are not a number have no part in
// it. Empty when the command does not jump.
std::vector<step_measure_t> measure_each_step(const response_record_t& record);

struct step_figures_t {
    unsigned steps = 0;
    std::optional<double> rise_s;  // mean over the steps that got there
    double overshoot = 0;          // the largest
    double settled_part = 0;       // of the steps: ended within 5 % of their size
};

// All of them together; none when the command does not jump.
std::optional<step_figures_t> measure_steps(const response_record_t& record);

}  // namespace peers
