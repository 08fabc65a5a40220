// The flight test's tick in a whole factory flight: what it costs and how late it is, at real time; and whether every
// tick comes when time runs many times faster.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "factory_flight.h"
#include "report.h"
#include "tick_probe.h"

static constexpr double PERIOD_NS = 20e6;
static constexpr double FAST = 25;
static constexpr int FLIGHTS = 3;  // at real time: one has too few ticks for the thousandth that is latest

static std::string step(int loop, double amplitude)
{
    char text[192];
    std::snprintf(
        text, sizeof text,
        R"({"motion_id": "kStep", "para_cfg": {"loop_id": %d, "amp": %g, "intervals": 1, "repeat_times": 1}})", loop,
        amplitude);
    return text;
}

// Take-off, hover, steps on seven loops, a sweep of ten seconds, the way home, landing.
static std::string whole_flight()
{
    const std::string motions[] = {
        R"({"motion_id": "kHover", "para_cfg": {"duration": 5}})",
        step(4, 8),
        step(5, 8),
        step(17, 8),
        step(6, 20),
        step(7, 2),
        step(8, 2),
        step(13, 0.8),
        R"({"motion_id": "kSweepChirpZ", "para_cfg": {"start_freq": 1, "end_freq": 10, "duration": 10, "amp": 1, "inj_loop": 4}})",
        R"({"motion_id": "kRtl", "para_cfg": {}})",
    };
    std::string list = R"({"attribute": {"motion_num": )" + std::to_string(std::size(motions)) + "}";
    for (size_t i = 0; i < std::size(motions); ++i)
        list += ", \"motion" + std::to_string(i) + "\": " + motions[i];
    return list + "}";
}

// Of one flight or of several.
struct ticks_t {
    std::vector<double> cpu_us;
    std::vector<double> late_us;  // behind the schedule that fits the earliest tick of the flight
};

// A dropped tick makes none of the others late.
static void add_ticks(ticks_t& ticks, const TickTrack& track)
{
    std::vector<double> late;
    for (size_t i = 0; i < track.size(); ++i) {
        const auto since_first = static_cast<double>(track[i].begin_ns - track[0].begin_ns);
        late.push_back(since_first - PERIOD_NS * std::round(since_first / PERIOD_NS));
    }
    const double earliest = *std::min_element(late.begin(), late.end());
    for (size_t i = 0; i < track.size(); ++i) {
        ticks.late_us.push_back((late[i] - earliest) / 1000);
        ticks.cpu_us.push_back(static_cast<double>(track[i].cpu_ns) / 1000);
    }
}

static double p999(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[(values.size() - 1) * 999 / 1000];
}

static flight_figures_t fly_well(double scale, tick_probe_t* probe)
{
    flight_figures_t figures = fly(whole_flight(), scale, probe);
    if (figures.outcome == "finished") return figures;
    std::fprintf(stderr, "afqt_bench: the flight ended as %s\n", figures.outcome.c_str());
    std::exit(EXIT_FAILURE);
}

static void measure_tick(bench::report& report)
{
    ticks_t service_ticks, bare_ticks;
    double seconds = 0;
    for (int i = 0; i < FLIGHTS; ++i) {
        tick_probe_t* probe = make_tick_probe();
        std::fprintf(stderr, "afqt_bench: flight %d of %d, a good minute each\n", i + 1, FLIGHTS);
        seconds += fly_well(1, probe).seconds;
        add_ticks(service_ticks, probe->service);
        add_ticks(bare_ticks, probe->bare);
    }
    const bench::summary tick = bench::summarise(service_ticks.cpu_us);
    const bench::summary bare_send = bench::summarise(bare_ticks.cpu_us);
    const double ours = p999(service_ticks.late_us);
    const double bare = p999(bare_ticks.late_us);
    report.add({"afqt_flights", seconds, "s", {}, {}});
    report.add({"afqt_bare_send_cpu_median", bare_send.median, "us", {}, {}});
    report.add({"afqt_tick_cpu_median", tick.median, "us", {}, 30.0});
    report.add(
        {"afqt_tick_cpu_against_bare", tick.median - bare_send.median, "us", tick.median / bare_send.median, {}});
    report.add({"afqt_tick_cpu_p99", tick.p99, "us", {}, {}});
    report.add({"afqt_bare_late_p99.9", bare, "us", {}, {}});
    report.add({"afqt_tick_late_p99.9", ours, "us", ours / bare, {}});
    report.add({"afqt_tick_late_above_bare", ours - bare, "us", {}, 50.0});
}

static void measure_fast_flight(bench::report& report)
{
    tick_probe_t* probe = make_tick_probe();
    const flight_figures_t flight = fly_well(FAST, probe);
    const TickTrack& ticks = probe->service;
    const auto span = static_cast<double>(ticks[ticks.size() - 1].begin_ns - ticks[0].begin_ns);
    const auto due = static_cast<size_t>(std::lround(span * FAST / PERIOD_NS)) + 1;
    report.add({"afqt_fast_flight_wall_time", 100 * flight.wall_seconds / flight.seconds, "%", {}, 5.0});
    report.add({"afqt_fast_flight_ticks", static_cast<double>(ticks.size()), "ticks", {}, {}});
    const auto dropped = static_cast<double>(due - std::min(due, ticks.size()));  // an early last one is none too many
    report.add({"afqt_fast_flight_dropped", dropped, "ticks", {}, 0.0});
}

int main(int argc, char** argv)
{
    CLI::App app{"The flight test's tick in a whole factory flight."};
    bool as_json = false;
    app.add_flag("--json", as_json, "print the rows as JSON");
    CLI11_PARSE(app, argc, argv);

    bench::report report;
    measure_tick(report);
    measure_fast_flight(report);
    report.print(as_json);
}
