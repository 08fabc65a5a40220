#include "fly/flying.h"

#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "flight_controller/flight_log.h"
#include "fly/flight_text.h"
#include "world/flight_run.h"
#include "world/private_files.h"

namespace cli {
namespace {

// The middle of Munich.
constexpr double LATITUDE = 48.137154 * peers::RADIANS_PER_DEGREE;
constexpr double LONGITUDE = 11.576124 * peers::RADIANS_PER_DEGREE;

int fails(const sim::Report& report, const std::string& why)
{
    report.line(json{{"error", why}}.dump());
    return 1;
}

sim::flight_hooks_t hooks_of(const sim::Report& report, peers::FlightLog* log)
{
    sim::flight_hooks_t hooks;
    hooks.news = [&report](const afqt_heart_beat_t& beat, uint64_t time_us) {
        report.line(news_line({beat, static_cast<double>(time_us) / 1e6}));
    };
    if (log == nullptr) return hooks;
    hooks.heartbeat = [log](const afqt_heart_beat_t& beat) { log->hear(beat); };
    hooks.row = [log](const peers::flight_row_t& row) { log->write(row); };
    return hooks;
}

}  // namespace

int fly_in_child(const flying_t& flying, uint64_t seed, sim::ServiceModule& service, const sim::Report& report)
{
    const drawn_t drawn = draw(flying.variation, seed);
    std::unique_ptr<peers::FlightLog> log;
    if (!flying.log.empty()) {
        log = peers::FlightLog::create(flying.log, drawn.aircraft);
        if (!log) return fails(report, flying.log + ": cannot be written: " + std::strerror(errno));
    }
    std::string error;
    if (!sim::make_private_files(error)) return fails(report, error);
    sim::rules_t rules;
    rules.seed = seed;
    sim::Platform platform(rules);
    const sim::flight_plan_t plan = {flying.list, drawn.aircraft, LATITUDE, LONGITUDE};
    const sim::flight_end_t end = sim::fly(platform, service, plan, hooks_of(report, log.get()), error);
    if (log && !log->close()) return fails(report, flying.log + ": cannot be written: " + std::strerror(errno));
    if (!error.empty()) return fails(report, error);
    report.line(flight_json(seed, drawn, end).dump());
    return 0;
}

}  // namespace cli
