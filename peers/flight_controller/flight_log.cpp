#include "flight_controller/flight_log.h"

#include <cstring>

#include "factory/test_watch.h"
#include "flight_controller/fc_event.h"

namespace peers {
namespace {

double degrees(double radians)
{
    return radians / RADIANS_PER_DEGREE;
}

// Commands are not a number where their loop does not run.
#define VALUE(topic, field, heading, expression)                                                              \
    flight_column_t                                                                                           \
    {                                                                                                         \
        topic, field, heading, false, [](const flight_row_t& row) { return static_cast<double>(expression); } \
    }
#define WHOLE(topic, field, heading, expression)                                                             \
    flight_column_t                                                                                          \
    {                                                                                                        \
        topic, field, heading, true, [](const flight_row_t& row) { return static_cast<double>(expression); } \
    }
constexpr flight_column_t COLUMNS[] = {
    WHOLE("mode", "display_mode", "mode", row.mode),
    WHOLE("mode", "flight_state", "state", row.state),
    VALUE("commands", "roll_deg", "roll_cmd_deg", degrees(row.commands.angles.x)),
    VALUE("commands", "pitch_deg", "pitch_cmd_deg", degrees(row.commands.angles.y)),
    VALUE("commands", "yaw_deg", "yaw_cmd_deg", degrees(row.commands.angles.z)),
    VALUE("commands", "roll_rate_deg_s", "roll_rate_cmd_deg_s", degrees(row.commands.rates.x)),
    VALUE("commands", "pitch_rate_deg_s", "pitch_rate_cmd_deg_s", degrees(row.commands.rates.y)),
    VALUE("commands", "yaw_rate_deg_s", "yaw_rate_cmd_deg_s", degrees(row.commands.rates.z)),
    VALUE("commands", "forward_m_s", "forward_cmd_m_s", row.commands.velocity.x),
    VALUE("commands", "right_m_s", "right_cmd_m_s", row.commands.velocity.y),
    VALUE("commands", "climb_m_s", "climb_cmd_m_s", row.commands.climb),
    VALUE("commands", "climb_acceleration_m_s2", "climb_acceleration_cmd_m_s2", row.commands.climb_acceleration),
    VALUE("commands", "north_m", "north_cmd_m", row.commands.position.x),
    VALUE("commands", "east_m", "east_cmd_m", row.commands.position.y),
    VALUE("commands", "height_m", "height_cmd_m", row.commands.height),
    VALUE("attitude", "roll_deg", "roll_deg", degrees(row.angles.x)),
    VALUE("attitude", "pitch_deg", "pitch_deg", degrees(row.angles.y)),
    VALUE("attitude", "yaw_deg", "yaw_deg", degrees(row.angles.z)),
    VALUE("rates", "roll_deg_s", "roll_rate_deg_s", degrees(row.rates.x)),
    VALUE("rates", "pitch_deg_s", "pitch_rate_deg_s", degrees(row.rates.y)),
    VALUE("rates", "yaw_deg_s", "yaw_rate_deg_s", degrees(row.rates.z)),
    VALUE("velocity", "forward_m_s", "forward_m_s", row.velocity.x),
    VALUE("velocity", "right_m_s", "right_m_s", row.velocity.y),
    VALUE("velocity", "climb_m_s", "climb_m_s", row.velocity.z),
    VALUE("position", "north_m", "north_m", row.position.x),
    VALUE("position", "east_m", "east_m", row.position.y),
    VALUE("position", "height_m", "height_m", row.position.z),
    WHOLE("excitation", "loop", "sweep_loop", row.excitation.loop),
    WHOLE("excitation", "point", "sweep_point", row.excitation.point),
    VALUE("excitation", "value", "sweep_value", row.excitation.value),
    VALUE("excitation", "frequency_hz", "sweep_hz", row.frequency),
    VALUE("excitation", "phase_rad", "sweep_phase_rad", row.phase),
};
#undef VALUE
#undef WHOLE

// Ids of topics are their places in the order of the columns, from 0. Runs for each topic with its columns.
template <class What>
void for_each_topic(const What& what)
{
    uint16_t id = 0;
    for (const flight_column_t *begin = COLUMNS, *end = begin; begin != std::end(COLUMNS); begin = end, id++) {
        while (end != std::end(COLUMNS) && std::strcmp(end->topic, begin->topic) == 0)
            end++;
        what(id, std::span<const flight_column_t>(begin, end));
    }
}

template <class Number>
void append(std::vector<uint8_t>& bytes, double value)
{
    const auto number = static_cast<Number>(value);
    const bytes_view view = bytes_of(number);
    bytes.insert(bytes.end(), view.begin(), view.end());
}

std::string mode_mark(uint8_t mode)
{
    return "mode " + std::to_string(mode) + " (" + mode_name(mode) + ")";
}

std::string motion_mark(const afqt_heart_beat_t& beat)
{
    std::string text = "motion " + std::to_string(beat.motion_num) + " starts: " + motion_text(beat.motion_id);
    if (beat.motion_loop != kLoopNull) text += std::string(", ") + control_loop_text(beat.motion_loop);
    return text;
}

}  // namespace

std::span<const flight_column_t> flight_columns()
{
    return COLUMNS;
}

std::unique_ptr<FlightLog> FlightLog::create(const std::string& path, const aircraft_config_t& aircraft)
{
    std::unique_ptr<UlogWriter> writer = UlogWriter::create(path, 0);
    if (!writer) return nullptr;
    std::unique_ptr<FlightLog> log(new FlightLog(std::move(writer)));
    log->define(aircraft);
    return log;
}

void FlightLog::define(const aircraft_config_t& aircraft)
{
    writer_->info("sys_name", "vela simulated aircraft");
    writer_->info("seed", aircraft.seed);
    writer_->info("noise", uint64_t{aircraft.noise});
    writer_->info("wind_north_m_s", static_cast<float>(aircraft.wind.mean.x));
    writer_->info("wind_east_m_s", static_cast<float>(aircraft.wind.mean.y));
    writer_->info("gusts_m_s", static_cast<float>(aircraft.wind.gusts));
    writer_->info("ground_altitude_m", static_cast<float>(aircraft.ground_altitude));
    const auto parameter = [this](const char* name, double value) {
        writer_->parameter(name, static_cast<float>(value));
    };
    const auto gain = [&](const char* name, double value) { parameter(name, aircraft.gain * value); };
    gain("TILT_RATE_GAIN", TILT_GAINS.inner);
    gain("TILT_GAIN", TILT_GAINS.outer);
    gain("YAW_RATE_GAIN", YAW_GAINS.inner);
    gain("YAW_GAIN", YAW_GAINS.outer);
    gain("CLIMB_GAIN", HEIGHT_GAINS.inner);
    gain("HEIGHT_GAIN", HEIGHT_GAINS.outer);
    gain("SPEED_GAIN", SPEED_GAIN);
    gain("POSITION_GAIN", POSITION_GAIN);
    parameter("MOTOR_LAG_S", MOTOR_LAG_S);
    parameter("DRAG", DRAG);
    parameter("MASS_FACTOR", aircraft.mass);
    for_each_topic([this](uint16_t, std::span<const flight_column_t> columns) {
        std::string fields;
        for (const flight_column_t& column : columns)
            fields += std::string(column.whole ? "uint8_t " : "float ") + column.field + ";";
        writer_->format(columns[0].topic, fields);
    });
    for_each_topic(
        [this](uint16_t id, std::span<const flight_column_t> columns) { writer_->subscribe(id, columns[0].topic); });
}

void FlightLog::write(const flight_row_t& row)
{
    const std::lock_guard lock(mutex_);
    time_us_ = static_cast<uint64_t>(std::llround(row.time * 1e6));
    mark_changes(row, time_us_);
    std::vector<uint8_t> fields;
    for_each_topic([&](uint16_t id, std::span<const flight_column_t> columns) {
        fields.clear();
        for (const flight_column_t& column : columns) {
            if (column.whole)
                append<uint8_t>(fields, column.value(row));
            else
                append<float>(fields, column.value(row));
        }
        writer_->data(id, time_us_, fields);
    });
    before_ = row;
}

void FlightLog::mark_changes(const flight_row_t& row, uint64_t time_us)
{
    if (!before_ || before_->mode != row.mode) writer_->log(time_us, mode_mark(row.mode));
    if (before_ && before_->state != row.state) {
        if (row.state == flight_state::in_air) writer_->log(time_us, "took off");
        if (row.state == flight_state::motors_off) writer_->log(time_us, "motors off");
    }
    mark_sweep(row, time_us);
}

// A sweep may follow another without a row between them: its phase begins anew.
void FlightLog::mark_sweep(const flight_row_t& row, uint64_t time_us)
{
    const AfqtCtrlLoopEnum was = before_ ? before_->excitation.loop : kLoopNull;
    const bool another = was != row.excitation.loop || (was != kLoopNull && row.phase < before_->phase);
    if (!another) return;
    if (was != kLoopNull) writer_->log(time_us, "sweep ends");
    if (row.excitation.loop == kLoopNull) return;
    writer_->log(time_us, std::string("sweep starts: ") + control_loop_text(row.excitation.loop) + " at point " +
                              std::to_string(row.excitation.point));
}

void FlightLog::hear(const afqt_heart_beat_t& beat)
{
    const std::lock_guard lock(mutex_);
    const uint8_t motion = beat.afqt_state == kStaMotionListRun ? beat.motion_num : uint8_t{0};
    if (motion == motion_) return;
    if (motion_ != 0) writer_->log(time_us_, "motion " + std::to_string(motion_) + " ends");
    if (motion != 0) writer_->log(time_us_, motion_mark(beat));
    motion_ = motion;
}

bool FlightLog::close()
{
    const std::lock_guard lock(mutex_);
    return writer_->close();
}

}  // namespace peers
