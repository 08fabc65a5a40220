// Round trips through two routers beside those of the ZeroMQ connection that they use, in one run and taking turns; and
// what a fleet costs the router on the ground.
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include <CLI/CLI.hpp>

#include "curve_pair.h"
#include "fleet.h"
#include "report.h"

namespace {

constexpr double GOAL_AGAINST_BARE = 2.0;
constexpr double GOAL_FLEET_PERCENT = 20.0;
constexpr size_t FLEET = 10;
constexpr size_t WARM_UP = 20;  // round trips at the head of each turn that do not count

// A directory that goes with everything in it.
class scratch {
public:
    scratch()
    {
        char name[] = "/tmp/router_bench.XXXXXX";
        if (::mkdtemp(name) == nullptr) fail("mkdtemp");
        path_ = name;
    }
    ~scratch()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    scratch(const scratch&) = delete;
    scratch& operator=(const scratch&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

struct times_t {
    std::vector<double> bare;
    std::vector<double> routed;
};

times_t measure_trips(pair& bare, pair& routed, size_t rounds, size_t trips)
{
    times_t times;
    for (size_t round = 0; round < rounds; ++round) {
        for (auto [players, all] : {std::pair(&bare, &times.bare), std::pair(&routed, &times.routed)}) {
            players->ping(WARM_UP);
            const std::vector<double> turn = players->ping(trips);
            all->insert(all->end(), turn.begin(), turn.end());
        }
    }
    return times;
}

void add_trips(bench::report& report, const times_t& times)
{
    const bench::summary bare = bench::summarise(times.bare);
    const bench::summary routed = bench::summarise(times.routed);
    report.add({"router_bare_curve_median", bare.median, "us", std::nullopt, std::nullopt});
    report.add({"router_bare_curve_p99", bare.p99, "us", std::nullopt, std::nullopt});
    report.add({"router_trip_median", routed.median, "us", routed.median / bare.median, GOAL_AGAINST_BARE});
    report.add({"router_trip_p99", routed.p99, "us", routed.p99 / bare.p99, std::nullopt});
}

void add_fleet(bench::report& report, const fleet_load& load)
{
    report.add({"router_fleet_cpu", load.ground_percent, "% core", std::nullopt, GOAL_FLEET_PERCENT});
    report.add({"router_fleet_aircraft_cpu", load.aircraft_percent, "% core", std::nullopt, std::nullopt});
    report.add({"router_fleet_arrived", load.arrived_percent, "%", std::nullopt, std::nullopt});
}

int run(int argc, char** argv)
{
    CLI::App program("What the router between machines costs. Example: router_bench --rounds 5 --json");
    bool as_json = false;
    size_t rounds = 100;
    size_t trips = 100;
    double seconds = 10;
    program.add_flag("--json", as_json, "print JSON instead of a table");
    program.add_option("--rounds", rounds, "turns of each contender")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    program.add_option("--trips", trips, "round trips per turn")->check(CLI::Range(1, 100000))->capture_default_str();
    program.add_option("--seconds", seconds, "of the fleet")->check(CLI::Range(1, 600))->capture_default_str();
    CLI11_PARSE(program, argc, argv);

    // Everything that forks, before the first thread.
    const scratch directory;
    bench::report report;
    {
        const rig two(directory.path() + "/two", 1);
        const auto bare = make_curve_pair();
        const auto routed = make_tarn_pair_between(two.ground_routes(0), two.aircraft_routes(0), false);
        const rig fleet(directory.path() + "/fleet", FLEET);
        two.wait_until_up();
        fleet.wait_until_up();
        bare->open();
        routed->open();
        add_trips(report, measure_trips(*bare, *routed, rounds, trips));
        add_fleet(report, measure_fleet(fleet, FLEET, seconds));
    }
    report.print(as_json);
    return EXIT_SUCCESS;
}

}  // namespace

void fail(const char* what)
{
    std::perror(what);
    std::exit(EXIT_FAILURE);
}

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "router_bench: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
