#include "world/flight_figures.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace sim {
namespace {

// Shorter ways are the sensors' noise.
constexpr double PATH_GRAIN_M = 0.2;

double degrees(double radians)
{
    return radians / peers::RADIANS_PER_DEGREE;
}

// A loop that does not run has no number for a command.
bool runs(double command)
{
    return std::isfinite(command);
}

struct quantity_t {
    double command;
    double value;
};

// What a step on this loop changes, and what should follow it; angles in degrees. None while a loop around it runs:
// then the command is that loop's, no step. Stabilised loops are not among them: there a step is a push to hold
// against.
std::optional<quantity_t> quantity_of(uint8_t loop, const peers::flight_row_t& row)
{
    const peers::loop_commands_t& commands = row.commands;
    switch (loop) {
        case kAttiX:
            if (runs(commands.velocity.x)) return std::nullopt;
            return quantity_t{degrees(commands.angles.x), degrees(row.angles.x)};
        case kAttiY:
            if (runs(commands.velocity.x)) return std::nullopt;
            return quantity_t{degrees(commands.angles.y), degrees(row.angles.y)};
        case kAttiZ:
            return quantity_t{degrees(commands.angles.z), degrees(row.angles.z)};
        case kVelX:
            if (runs(commands.position.x)) return std::nullopt;
            return quantity_t{commands.velocity.x, row.velocity.x};
        case kVelY:
            if (runs(commands.position.x)) return std::nullopt;
            return quantity_t{commands.velocity.y, row.velocity.y};
        case kVertVel:
            if (runs(commands.height)) return std::nullopt;
            return quantity_t{commands.climb, row.velocity.z};
        case kVertPos:
            return quantity_t{commands.height, row.position.z};
        default:
            return std::nullopt;
    }
}

}  // namespace

void FlightFigures::take(const peers::flight_row_t& row)
{
    const peers::vec3_t& position = row.position;
    const peers::vec3_t& last = last_place_;
    const double moved = std::hypot(position.x - last.x, position.y - last.y, position.z - last.z);
    if (moved >= PATH_GRAIN_M) {
        so_far_.path_m += moved;
        last_place_ = position;
    }
    so_far_.highest_m = std::max(so_far_.highest_m, position.z);
    so_far_.landed_m = std::hypot(position.x, position.y);
    so_far_.farthest_m = std::max(so_far_.farthest_m, so_far_.landed_m);
    const double tilt = std::hypot(row.angles.x, row.angles.y);
    so_far_.worst_tilt_deg = std::max(so_far_.worst_tilt_deg, degrees(tilt));
    follow(row);
}

void FlightFigures::follow(const peers::flight_row_t& row)
{
    const std::optional<quantity_t> quantity = quantity_of(loop_, row);
    if (!quantity) return;
    stepped_t& stepped = stepped_[loop_];
    stepped.times.push_back(row.time);
    stepped.commands.push_back(quantity->command);
    stepped.values.push_back(quantity->value);
}

void FlightFigures::hear(const afqt_heart_beat_t& beat)
{
    const bool steps = beat.afqt_state == kStaMotionListRun && beat.motion_id == MOTION_STEP;
    loop_ = steps ? beat.motion_loop : uint8_t{kLoopNull};
}

flight_figures_t FlightFigures::figures() const
{
    flight_figures_t figures = so_far_;
    for (const auto& [loop, stepped] : stepped_) {
        const auto measured = peers::measure_steps({stepped.times, stepped.commands, stepped.values});
        if (measured) figures.steps[loop] = *measured;
    }
    return figures;
}

}  // namespace sim
