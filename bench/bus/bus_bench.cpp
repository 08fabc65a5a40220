// Round trips over the bus beside the same over bare sockets and over ZeroMQ, in one run and taking turns, so that
// whatever else the machine does meets all of them alike.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "pair.h"
#include "report.h"

namespace {

constexpr double GOAL_AGAINST_BARE = 1.3;
constexpr double GOAL_AGAINST_ZMQ = 1.0;
constexpr size_t WARM_UP = 50;  // round trips at the head of each turn that do not count

// A directory that goes with everything in it.
class scratch {
public:
    scratch()
    {
        char name[] = "/tmp/bus_bench.XXXXXX";
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

struct contender {
    std::string name;
    std::unique_ptr<pair> players;
    std::vector<double> times = {};
};

void measure(std::vector<contender>& contenders, size_t rounds, size_t trips)
{
    for (size_t round = 0; round < rounds; ++round) {
        for (contender& one : contenders) {
            one.players->ping(WARM_UP);
            const std::vector<double> times = one.players->ping(trips);
            one.times.insert(one.times.end(), times.begin(), times.end());
        }
    }
}

bench::report make_report(const std::vector<contender>& contenders)
{
    const double bare = bench::summarise(contenders[0].times).median;
    const double zmq = bench::summarise(contenders[1].times).median;
    const double tarn = bench::summarise(contenders[2].times).median;
    bench::report report;
    for (const contender& one : contenders) {
        const auto [median, p99] = bench::summarise(one.times);
        std::optional<double> goal;
        if (&one == &contenders[2]) goal = GOAL_AGAINST_BARE;
        report.add({one.name + "_median", median, "us", median / bare, goal});
        report.add({one.name + "_p99", p99, "us", std::nullopt, std::nullopt});
    }
    report.add({"bus_tarn_against_zmq", tarn, "us", tarn / zmq, GOAL_AGAINST_ZMQ});
    return report;
}

}  // namespace

void fail(const char* what)
{
    std::perror(what);
    std::exit(EXIT_FAILURE);
}

static int run(int argc, char** argv)
{
    CLI::App program("Round trips of 200-byte payloads between two processes. Example: bus_bench --rounds 10 --json");
    bool as_json = false;
    size_t rounds = 20;
    size_t trips = 1000;
    program.add_flag("--json", as_json, "print JSON instead of a table");
    program.add_option("--rounds", rounds, "turns of each contender")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    program.add_option("--trips", trips, "round trips per turn")->check(CLI::Range(1, 100000))->capture_default_str();
    CLI11_PARSE(program, argc, argv);

    const scratch directory;
    std::vector<contender> contenders;
    contenders.push_back({"bus_bare", make_bare_pair()});
    contenders.push_back({"bus_zmq", make_zmq_pair(directory.path())});
    contenders.push_back({"bus_tarn", make_tarn_pair(directory.path(), false)});
    contenders.push_back({"bus_tarn_send_sync", make_tarn_pair(directory.path(), true)});
    for (const contender& one : contenders)
        one.players->open();
    measure(contenders, rounds, trips);
    make_report(contenders).print(as_json);
    return EXIT_SUCCESS;
}

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bus_bench: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
