#include "flight_controller/flight_log.h"

#include <utility>

namespace peers {
namespace {

struct column_t {
    const char* name;
    double (*value)(const flight_row_t& row);
};

double degrees(double radians)
{
    return radians / RADIANS_PER_DEGREE;
}

// Commands are empty where their loop does not run.
#define COLUMN(name, expression)                                                      \
    column_t                                                                          \
    {                                                                                 \
        name, [](const flight_row_t& row) { return static_cast<double>(expression); } \
    }
constexpr column_t COLUMNS[] = {
    COLUMN("time_s", row.time),
    COLUMN("mode", row.mode),
    COLUMN("state", static_cast<int>(row.state)),
    COLUMN("roll_cmd_deg", degrees(row.commands.angles.x)),
    COLUMN("pitch_cmd_deg", degrees(row.commands.angles.y)),
    COLUMN("yaw_cmd_deg", degrees(row.commands.angles.z)),
    COLUMN("roll_rate_cmd_deg_s", degrees(row.commands.rates.x)),
    COLUMN("pitch_rate_cmd_deg_s", degrees(row.commands.rates.y)),
    COLUMN("yaw_rate_cmd_deg_s", degrees(row.commands.rates.z)),
    COLUMN("forward_cmd_m_s", row.commands.velocity.x),
    COLUMN("right_cmd_m_s", row.commands.velocity.y),
    COLUMN("climb_cmd_m_s", row.commands.climb),
    COLUMN("climb_acceleration_cmd_m_s2", row.commands.climb_acceleration),
    COLUMN("north_cmd_m", row.commands.position.x),
    COLUMN("east_cmd_m", row.commands.position.y),
    COLUMN("height_cmd_m", row.commands.height),
    COLUMN("roll_deg", degrees(row.angles.x)),
    COLUMN("pitch_deg", degrees(row.angles.y)),
    COLUMN("yaw_deg", degrees(row.angles.z)),
    COLUMN("roll_rate_deg_s", degrees(row.rates.x)),
    COLUMN("pitch_rate_deg_s", degrees(row.rates.y)),
    COLUMN("yaw_rate_deg_s", degrees(row.rates.z)),
    COLUMN("forward_m_s", row.velocity.x),
    COLUMN("right_m_s", row.velocity.y),
    COLUMN("climb_m_s", row.velocity.z),
    COLUMN("north_m", row.position.x),
    COLUMN("east_m", row.position.y),
    COLUMN("height_m", row.position.z),
    COLUMN("sweep_loop", row.excitation.loop),
    COLUMN("sweep_point", row.excitation.point),
    COLUMN("sweep_value", row.excitation.value),
    COLUMN("sweep_hz", row.frequency),
    COLUMN("sweep_phase_rad", row.phase),
};
#undef COLUMN

}  // namespace

std::unique_ptr<FlightLog> FlightLog::create(const std::string& path)
{
    std::FILE* file = std::fopen(path.c_str(), "w");
    if (file == nullptr) return nullptr;
    std::unique_ptr<FlightLog> log(new FlightLog(file));
    for (const column_t& column : COLUMNS)
        std::fprintf(file, "%s%s", &column == COLUMNS ? "" : ",", column.name);
    std::fputc('\n', file);
    return log;
}

FlightLog::~FlightLog()
{
    close();
}

void FlightLog::write(const flight_row_t& row)
{
    if (file_ == nullptr) return;
    for (const column_t& column : COLUMNS) {
        const double value = column.value(row);
        if (&column != COLUMNS) std::fputc(',', file_);
        if (std::isfinite(value)) std::fprintf(file_, "%.6g", value);
    }
    if (std::fputc('\n', file_) == EOF) complete_ = false;
}

bool FlightLog::close()
{
    std::FILE* file = std::exchange(file_, nullptr);
    if (file == nullptr) return complete_;
    const bool failed = std::ferror(file) != 0;
    if (std::fclose(file) != 0 || failed) complete_ = false;
    return complete_;
}

}  // namespace peers
