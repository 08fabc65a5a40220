#include <cerrno>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "afqt_run.h"
#include "console.h"
#include "fly/flight_text.h"
#include "fly/fly_run.h"
#include "units.h"

namespace cli {
namespace {

using wall_clock = std::chrono::steady_clock;

void print_figures(const json& flight, double wall_seconds)
{
    std::printf(
        "  %.1f m flown, up to %.1f m high and %.1f m away, tilted %.0f° at most; landed %.2f m from its start\n",
        flight["path_m"].get<double>(), flight["highest_m"].get<double>(), flight["farthest_m"].get<double>(),
        flight["worst_tilt_deg"].get<double>(), flight["landed_m"].get<double>());
    for (const json& step : flight["steps"]) {
        std::string rise = "did not get there";
        if (!step["rise_s"].is_null()) rise = "rise " + duration_text(step["rise_s"]);
        std::printf("  %-14s %2d steps, %s, overshoot %.1f %%\n", step["loop"].get<std::string>().c_str(),
                    step["steps"].get<int>(), rise.c_str(), step["overshoot"].get<double>() * 100);
    }
    std::printf("  simulated in %s, %.0f times faster than real time\n", duration_text(wall_seconds).c_str(),
                flight["seconds"].get<double>() / wall_seconds);
}

// As on the real bus; then what only a simulation knows.
exit_code print_flight(const context_t& context, const json& flight, double wall_seconds)
{
    const peers::test_report_t report = report_of(flight);
    json more = flight;
    more.erase("outcome_number");
    more["wall_seconds"] = wall_seconds;
    const exit_code code = print_end(context, report, flight["seconds"], more);
    if (!context.as_json) print_figures(flight, wall_seconds);
    return code;
}

}  // namespace

exit_code fly_once(const context_t& context, const fly_options_t& options, sim::ServiceModule& service)
{
    const auto start = wall_clock::now();
    const uint64_t seed = options.flying.variation.seed;
    sim::Children children;
    const bool started = children.start(
        0, [&](const sim::Report& report) { return fly_in_child(options.flying, seed, service, report); });
    if (!started) return report(context, {exit_code::unexpected, "no process for the flight", ""});
    const size_t motions = motions_in(options.flying.list).value_or(0);
    json flight;
    std::string ended;
    const auto hear = [&](size_t, const std::string& line) {
        if (const auto news = read_news(line))
            print_line(context, news->seconds, beat_text(news->beat, motions), beat_json(news->beat));
        else
            flight = json::parse(line, nullptr, false);
    };
    while (children.running() > 0)
        if (!children.wait(-1, hear, [&ended](const sim::child_end_t& end) { ended = end.how(); }) && errno != EINTR)
            break;
    if (flight.contains("outcome"))
        return print_flight(context, flight, std::chrono::duration<double>(wall_clock::now() - start).count());
    const std::string why =
        flight.contains("error") ? flight["error"].get<std::string>() : "the service ended the process (" + ended + ")";
    return report(context, {exit_code::unexpected, "no flight: " + why, ""});
}

}  // namespace cli
