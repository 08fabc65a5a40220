#include "flight_report/loop_signals.h"

#include <cmath>
#include <numbers>

namespace peers {
namespace {

constexpr double RADIANS = std::numbers::pi / 180;

struct source_t {
    uint8_t loop;
    const char* unit;
    const char* command;
    const char* topic;  // of the value
    const char* value;
    const char* outer;  // command of the loop around it; null: none that counters a step
};

// Positions and the climb acceleration are made of more than one column.
constexpr source_t SOURCES[] = {
    {kAngVelX, "°/s", "roll_rate_deg_s", "rates", "roll_deg_s", "roll_deg"},
    {kAngVelY, "°/s", "pitch_rate_deg_s", "rates", "pitch_deg_s", "pitch_deg"},
    {kAngVelZ, "°/s", "yaw_rate_deg_s", "rates", "yaw_deg_s", "yaw_deg"},
    {kAttiX, "°", "roll_deg", "attitude", "roll_deg", "forward_m_s"},
    {kAttiY, "°", "pitch_deg", "attitude", "pitch_deg", "forward_m_s"},
    {kAttiZ, "°", "yaw_deg", "attitude", "yaw_deg", nullptr},
    {kVelX, "m/s", "forward_m_s", "velocity", "forward_m_s", "north_m"},
    {kVelY, "m/s", "right_m_s", "velocity", "right_m_s", "north_m"},
    {kPosX, "m", nullptr, nullptr, nullptr, nullptr},
    {kPosY, "m", nullptr, nullptr, nullptr, nullptr},
    {kVertAcc, "m/s²", "climb_acceleration_m_s2", nullptr, nullptr, "climb_m_s"},
    {kVertVel, "m/s", "climb_m_s", "velocity", "climb_m_s", "height_m"},
    {kVertPos, "m", "height_m", "position", "height_m", nullptr},
};

// Some loops are another one along its first axis, or with the hold around it.
uint8_t base_of(uint8_t loop)
{
    switch (loop) {
        case kAttiTilt:
        case kAttiStbX:
            return kAttiX;
        case kAttiStbY:
            return kAttiY;
        case kVelTilt:
            return kVelX;
        case kPosTilt:
            return kPosX;
        default:
            return loop;
    }
}

const source_t* source_of(uint8_t loop)
{
    for (const source_t& source : SOURCES) {
        if (source.loop == base_of(loop)) return &source;
    }
    return nullptr;
}

std::vector<double> part(std::span<const double> column, size_t begin, size_t end)
{
    const std::span<const double> rows = column.subspan(begin, end - begin);
    return {rows.begin(), rows.end()};
}

// The horizontal position along (`across`: to the right of) one heading.
std::vector<double> along(const FlightRows& rows, const char* topic, size_t begin, size_t end, bool across)
{
    const double heading = rows.column("attitude", "yaw_deg")[begin] * RADIANS + (across ? std::numbers::pi / 2 : 0);
    const std::span<const double> north = rows.column(topic, "north_m");
    const std::span<const double> east = rows.column(topic, "east_m");
    std::vector<double> values;
    for (size_t row = begin; row < end; row++)
        values.push_back(north[row] * std::cos(heading) + east[row] * std::sin(heading));
    return values;
}

void unwrap(std::vector<double>& degrees)
{
    double turns = 0;
    for (size_t row = 1; row < degrees.size(); row++) {
        const double jump = degrees[row] + turns - degrees[row - 1];
        if (std::isfinite(jump)) turns -= 360 * std::round(jump / 360);
        degrees[row] += turns;
    }
}

// Command and value together: one that wraps where the other does not would be a turn away.
void unwrap_headings(loop_signals_t& signals)
{
    std::vector<double> errors;
    for (size_t row = 0; row < signals.times.size(); row++)
        errors.push_back(std::remainder(signals.commands[row] - signals.values[row], 360));
    unwrap(signals.values);
    for (size_t row = 0; row < errors.size(); row++)
        signals.commands[row] = signals.values[row] + errors[row];
}

// From the row before to the one behind, so that it is not late.
std::vector<double> slope(const FlightRows& rows, std::span<const double> column, size_t begin, size_t end)
{
    std::vector<double> values;
    for (size_t row = begin; row < end; row++) {
        const size_t before = row == 0 ? 0 : row - 1;
        const size_t behind = row + 1 == rows.size() ? row : row + 1;
        const double time = rows.times()[behind] - rows.times()[before];
        values.push_back(time > 0 ? (column[behind] - column[before]) / time : 0);
    }
    return values;
}

}  // namespace

const char* loop_unit(uint8_t loop)
{
    const source_t* source = source_of(loop);
    return source == nullptr ? "" : source->unit;
}

loop_signals_t signals_of(const FlightRows& rows, uint8_t loop, size_t begin, size_t end)
{
    const source_t* source = source_of(loop);
    if (source == nullptr || begin >= end || end > rows.size()) return {};
    loop_signals_t signals;
    signals.times = part(rows.times(), begin, end);
    signals.excitations = part(rows.column("excitation", "value"), begin, end);
    if (source->command == nullptr) {
        signals.commands = along(rows, "commands", begin, end, source->loop == kPosY);
        signals.values = along(rows, "position", begin, end, source->loop == kPosY);
        return signals;
    }
    signals.commands = part(rows.column("commands", source->command), begin, end);
    if (source->value == nullptr)
        signals.values = slope(rows, rows.column("velocity", "climb_m_s"), begin, end);
    else
        signals.values = part(rows.column(source->topic, source->value), begin, end);
    if (source->loop == kAttiZ) unwrap_headings(signals);
    return signals;
}

bool held_from_outside(const FlightRows& rows, uint8_t loop, size_t row)
{
    const source_t* source = source_of(loop);
    if (source == nullptr || source->outer == nullptr) return false;
    return std::isfinite(rows.column("commands", source->outer)[row]);
}

}  // namespace peers
