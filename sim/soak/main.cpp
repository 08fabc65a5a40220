// vela-soak: runs seeds until time is up. Each is a process of its own; a failing one is cut down to the fewest actions
// that still fail and printed with the command that replays it.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <numeric>
#include <optional>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "soak/shrink.h"
#include "soak/soak_run.h"
#include "world/child.h"
#include "world/private_files.h"

namespace {

using json = nlohmann::ordered_json;
using wall_clock = std::chrono::steady_clock;

struct fixed_t {
    uint64_t seed;
    std::vector<size_t> only;
    const char* why;
};
const std::vector<fixed_t> FIXED = {
#include "soak/fixed_seeds.inc"
};

struct options_t {
    double minutes = 1;
    uint64_t first = 0;  // 0: by the clock
    uint64_t seeds = 0;  // 0: until time is up
    uint64_t jobs = 1;
    bool twice = false;
    bool as_json = false;
    std::optional<uint64_t> replay;
    std::vector<size_t> only;
    std::string service;
};

// What a child says of its run.
json json_of(const sim::soak_end_t& end)
{
    const sim::soak_counts_t& counts = end.counts;
    return {{"broken", end.broken},
            {"broken_at", end.broken_at},
            {"trace", end.trace},
            {"counts",
             {{"events", counts.events},
              {"launches", counts.launches},
              {"refused", counts.refused},
              {"lost", counts.lost},
              {"absent", counts.absent},
              {"upgrades_done", counts.upgrades_done},
              {"upgrades_failed", counts.upgrades_failed},
              {"deliveries_done", counts.deliveries_done},
              {"deliveries_failed", counts.deliveries_failed},
              {"bytes_read", counts.bytes_read},
              {"tests_on", counts.tests_on},
              {"take_offs", counts.take_offs},
              {"seconds", counts.seconds}}}};
}

std::vector<sim::action_t> chosen(uint64_t seed, const std::optional<std::vector<size_t>>& only)
{
    const std::vector<sim::action_t> all = sim::make_actions(seed);
    if (!only) return all;
    std::vector<sim::action_t> actions;
    for (const size_t number : *only)
        if (number < all.size()) actions.push_back(all[number]);
    return actions;
}

class Soak {
public:
    explicit Soak(const options_t& options) : options_(options) {}

    int run()
    {
        std::string error;
        if (!service_.open(options_.service, error)) {
            std::fprintf(stderr, "vela-soak: the service's module %s\n", error.c_str());
            return 2;
        }
        if (options_.replay) return replay(*options_.replay);
        for (const fixed_t& one : FIXED)
            if (!judge_alone(one.seed, one.only)) return finish();
        run_seeds();
        return finish();
    }

private:
    using only_t = std::optional<std::vector<size_t>>;

    bool start(size_t number, uint64_t seed, const only_t& only)
    {
        return children_.start(number, [this, seed, &only](const sim::Report& report) {
            std::string error;
            if (!sim::make_private_files(error)) {
                report.line(json{{"error", error}}.dump());
                return 2;
            }
            report.line(json_of(sim::soak(seed, chosen(seed, only), service_)).dump());
            return 0;
        });
    }

    // One run, waited for.
    json run_alone(uint64_t seed, const only_t& only)
    {
        json end;
        start(0, seed, only);
        while (children_.running() > 0)
            children_.wait(
                -1, [&](size_t, const std::string& line) { end = json::parse(line, nullptr, false); },
                [&](const sim::child_end_t& child) {
                    if (!child.finished()) end = {{"broken", "the process ended: " + child.how()}, {"broken_at", 0}};
                });
        return end;
    }

    bool judge_alone(uint64_t seed, const std::vector<size_t>& only)
    {
        const json end = run_alone(seed, only.empty() ? only_t() : only_t(only));
        count(end);
        if (end.value("broken", "") == "") return true;
        tell_failure(seed, end, only);
        return false;
    }

    void run_seeds()
    {
        start_ = wall_clock::now();
        uint64_t seed = first_seed();
        const uint64_t first = seed;
        const auto wanted = [&] {
            if (failed_) return false;
            if (options_.seeds != 0) return seed < first + options_.seeds;
            return minutes() < options_.minutes;
        };
        if (!options_.as_json) std::printf("Seeds from %llu on.\n", static_cast<unsigned long long>(first));
        std::map<size_t, json> ends;
        while (wanted() || children_.running() > 0) {
            static const only_t all;
            while (wanted() && children_.running() < options_.jobs)
                if (!start(seed, seed, all))
                    return;
                else
                    seed++;
            children_.wait(
                -1, [&](size_t number, const std::string& line) { ends[number] = json::parse(line, nullptr, false); },
                [&](const sim::child_end_t& child) {
                    json end = std::move(ends[child.number]);
                    ends.erase(child.number);
                    if (!child.finished() && !end.contains("error"))
                        end = {{"broken", "the process ended: " + child.how()}, {"broken_at", 0}};
                    judge(child.number, std::move(end));
                });
        }
    }

    void judge(uint64_t seed, json end)
    {
        if (end.contains("error")) {
            std::fprintf(stderr, "vela-soak: %s\n", end["error"].get<std::string>().c_str());
            failed_ = true;
            return;
        }
        count(end);
        if (end["broken"] != "") failures_.push_back({seed, end});
        failed_ = !failures_.empty();
        if (options_.twice && !failed_) again_.push_back({seed, end["trace"]});
        show();
    }

    // The same thing breaks: the words before its numbers.
    static std::string kind_of(const json& end)
    {
        const std::string broken = end.value("broken", "");
        return broken.substr(0, broken.find_first_of("0123456789", 3));
    }

    void tell_failure(uint64_t seed, const json& end, const std::vector<size_t>& known)
    {
        std::vector<size_t> all = known;
        if (all.empty()) {
            all.resize(sim::make_actions(seed).size());
            std::iota(all.begin(), all.end(), size_t{0});
        }
        const std::vector<size_t> fewest = sim::fewest_that_fail(
            all, [&](const std::vector<size_t>& only) { return kind_of(run_alone(seed, only)) == kind_of(end); });
        const json last = run_alone(seed, fewest);
        std::string numbers;
        for (const size_t number : fewest)
            numbers += (numbers.empty() ? "" : ",") + std::to_string(number);
        std::printf("\nBroken: %s, at %.6f s of seed %llu\n", last["broken"].get<std::string>().c_str(),
                    last["broken_at"].get<double>(), static_cast<unsigned long long>(seed));
        for (const sim::action_t& action : chosen(seed, fewest))
            std::printf("%s\n", sim::action_text(action).c_str());
        std::printf("replay: ./dev soak --replay %llu --only %s\n", static_cast<unsigned long long>(seed),
                    numbers.c_str());
        failed_ = true;
    }

    int replay(uint64_t seed)
    {
        const only_t only = options_.only.empty() ? only_t() : only_t(options_.only);
        for (const sim::action_t& action : chosen(seed, only))
            std::printf("%s\n", sim::action_text(action).c_str());
        const json end = run_alone(seed, only);
        std::printf("%s\n", end.dump(2).c_str());
        return end.value("broken", "") == "" ? 0 : 1;
    }

    void count(const json& end)
    {
        runs_++;
        if (!end.contains("counts")) return;
        for (const auto& [name, value] : end["counts"].items())
            sums_[name] += value.get<double>();
    }

    void show()
    {
        if (options_.as_json || !isatty(STDOUT_FILENO)) return;
        std::printf("\r  %.1f min, %llu seeds, %.0f events", minutes(), static_cast<unsigned long long>(runs_),
                    sums_["events"]);
        std::fflush(stdout);
    }

    int finish()
    {
        for (const auto& [seed, end] : failures_)
            tell_failure(seed, end, {});
        size_t different = 0;
        for (const auto& [seed, trace] : again_)
            different += run_alone(seed, {})["trace"] != trace ? 1 : 0;
        if (different != 0) failed_ = true;
        if (options_.as_json)
            std::printf("%s\n", json{{"runs", runs_},
                                     {"ok", !failed_},
                                     {"traces_twice", again_.size()},
                                     {"traces_different", different},
                                     {"sums", sums_}}
                                    .dump()
                                    .c_str());
        else
            print_sums(different);
        return failed_ ? 1 : 0;
    }

    void print_sums(size_t different)
    {
        std::printf("\n%llu seeds in %.1f min, %s\n", static_cast<unsigned long long>(runs_), minutes(),
                    failed_ ? "NOT clean" : "clean");
        for (const auto& [name, sum] : sums_)
            std::printf("  %-18s %14.0f\n", name.c_str(), sum);
        if (options_.twice) std::printf("  %zu flown twice, %zu with another trace\n", again_.size(), different);
    }

    double minutes() const { return std::chrono::duration<double>(wall_clock::now() - start_).count() / 60; }

    uint64_t first_seed() const
    {
        if (options_.first != 0) return options_.first;
        return static_cast<uint64_t>(std::chrono::system_clock::now().time_since_epoch().count()) / 1'000'000'000;
    }

    const options_t& options_;
    sim::ServiceModule service_;
    sim::Children children_;
    wall_clock::time_point start_ = wall_clock::now();
    uint64_t runs_ = 0;
    bool failed_ = false;
    std::vector<std::pair<uint64_t, json>> failures_;
    std::vector<std::pair<uint64_t, json>> again_;
    std::map<std::string, double> sums_;
};

std::string built_module()
{
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    return (program.parent_path() / "../lib/vela/vela_flight_module.so").lexically_normal().string();
}

int run(int argc, char** argv)
{
    options_t options;
    options.service = built_module();
    CLI::App command("Runs the whole system on a virtual clock with the work and the faults that seeds make up.",
                     "vela-soak");
    command.add_option("minutes", options.minutes, "how long")->check(CLI::PositiveNumber)->capture_default_str();
    command.add_option("--seeds", options.seeds, "so many seeds instead");
    command.add_option("--first", options.first, "the first seed; else by the date");
    command.add_option("--jobs", options.jobs, "so many at once")->check(CLI::Range(1, 256))->capture_default_str();
    command.add_flag("--twice", options.twice, "run each seed a second time and compare the traces");
    command.add_flag("--json", options.as_json, "print JSON instead of text");
    command.add_option("--replay", options.replay, "run this seed only, and say what happens in it");
    command.add_option("--only", options.only, "with --replay: these of its actions, for example 3,7")->delimiter(',');
    command.add_option("--service", options.service, "the service's module")->capture_default_str();
    CLI11_PARSE(command, argc, argv);
    return Soak(options).run();
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vela-soak: %s\n", error.what());
        return 2;
    }
}
