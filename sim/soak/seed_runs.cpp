#include "soak/seed_runs.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <map>
#include <numeric>

#include <nlohmann/json.hpp>

#include "soak/shrink.h"
#include "soak/soak_run.h"
#include "world/child.h"
#include "world/private_files.h"

namespace sim {
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

// What a child says of its run.
json json_of(const soak_end_t& end)
{
    const soak_counts_t& counts = end.counts;
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

std::vector<action_t> chosen(uint64_t seed, const std::optional<std::vector<size_t>>& only)
{
    std::vector<action_t> all = make_actions(seed);
    if (!only) return all;
    std::vector<action_t> actions;
    for (const size_t number : *only)
        if (number < all.size()) actions.push_back(all[number]);
    return actions;
}

bool broke(const json& end)
{
    return !end.value("broken", std::string()).empty();
}

// A process that ended without a word broke something; one that could not begin has said why.
json judged(json end, const child_end_t& child)
{
    if (child.finished() || end.contains("error")) return end;
    return {{"broken", "the process ended: " + child.how()}, {"broken_at", 0}};
}

class SeedRuns {
public:
    explicit SeedRuns(const soak_options_t& options) : options_(options) {}

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
        return children_.start(number, [this, seed, &only](const Report& report) {
            std::string error;
            if (!make_private_files(error)) {
                report.line(json{{"error", error}}.dump());
                return 2;
            }
            report.line(json_of(soak(seed, chosen(seed, only), service_)).dump());
            return 0;
        });
    }

    // One run, waited for.
    json run_alone(uint64_t seed, const only_t& only)
    {
        json end;
        start(0, seed, only);
        while (children_.running() > 0) {
            children_.wait(
                -1, [&](size_t, const std::string& line) { end = json::parse(line, nullptr, false); },
                [&](const child_end_t& child) { end = judged(std::move(end), child); });
        }
        return end;
    }

    bool judge_alone(uint64_t seed, const std::vector<size_t>& only)
    {
        const json end = run_alone(seed, only.empty() ? only_t() : only_t(only));
        if (end.contains("error")) {
            judge(seed, end);
            return false;
        }
        count(end);
        if (!broke(end)) return true;
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
            while (wanted() && children_.running() < options_.jobs) {
                if (!start(static_cast<size_t>(seed), seed, all)) return;
                seed++;
            }
            children_.wait(
                -1, [&](size_t number, const std::string& line) { ends[number] = json::parse(line, nullptr, false); },
                [&](const child_end_t& child) {
                    json end = std::move(ends[child.number]);
                    ends.erase(child.number);
                    judge(child.number, judged(std::move(end), child));
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
        if (broke(end)) failures_.push_back({seed, end});
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
            all.resize(make_actions(seed).size());
            std::iota(all.begin(), all.end(), size_t{0});
        }
        const std::vector<size_t> fewest = fewest_that_fail(
            all, [&](const std::vector<size_t>& only) { return kind_of(run_alone(seed, only)) == kind_of(end); });
        const json last = run_alone(seed, fewest);
        std::string only;
        for (const size_t number : fewest)
            only += (only.empty() ? " --only " : ",") + std::to_string(number);
        std::printf("\nBroken: %s, at %.6f s of seed %llu\n", last["broken"].get<std::string>().c_str(),
                    last["broken_at"].get<double>(), static_cast<unsigned long long>(seed));
        for (const action_t& action : chosen(seed, fewest))
            std::printf("%s\n", action_text(action).c_str());
        // A seed that fails without any action fails with all of them.
        std::printf("replay: ./dev soak --replay %llu%s\n", static_cast<unsigned long long>(seed), only.c_str());
        failed_ = true;
    }

    int replay(uint64_t seed)
    {
        const only_t only = options_.only.empty() ? only_t() : only_t(options_.only);
        for (const action_t& action : chosen(seed, only))
            std::printf("%s\n", action_text(action).c_str());
        const json end = run_alone(seed, only);
        std::printf("%s\n", end.dump(2).c_str());
        return broke(end) ? 1 : 0;
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
            print_json(different);
        else
            print_sums(different);
        return failed_ ? 1 : 0;
    }

    void print_json(size_t different)
    {
        const json all = {{"runs", runs_},
                          {"ok", !failed_},
                          {"traces_twice", again_.size()},
                          {"traces_different", different},
                          {"sums", sums_}};
        std::printf("%s\n", all.dump().c_str());
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

    const soak_options_t& options_;
    ServiceModule service_;
    Children children_;
    wall_clock::time_point start_ = wall_clock::now();
    uint64_t runs_ = 0;
    bool failed_ = false;
    std::vector<std::pair<uint64_t, json>> failures_;
    std::vector<std::pair<uint64_t, json>> again_;
    std::map<std::string, double> sums_;
};

}  // namespace

int run_seeds(const soak_options_t& options)
{
    return SeedRuns(options).run();
}

}  // namespace sim
