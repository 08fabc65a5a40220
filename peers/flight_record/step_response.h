// What a loop makes of steps in its command, measured in a flight record.
#pragma once

#include <optional>
#include <span>

namespace peers {

// One quantity over time; all three of one length, times rising.
struct response_record_t {
    std::span<const double> times;  // s
    std::span<const double> commands;
    std::span<const double> values;
};

struct step_figures_t {
    unsigned steps = 0;
    std::optional<double> rise_s;  // from 10 to 90 % of the step, mean over the steps that got there
    double overshoot = 0;          // of the step's size, the largest; 0 when the value stayed below
    double settled_part = 0;       // of the steps: ended within 5 % of their size
};

// Takes every jump of the command of at least half the largest for a step, and judges the value until the next one.
// Values that are not a number have no part in it. None when the command does not jump.
std::optional<step_figures_t> measure_steps(const response_record_t& record);

}  // namespace peers
