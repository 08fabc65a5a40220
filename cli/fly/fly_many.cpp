#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "console.h"
#include "files.h"
#include "fly/fly_run.h"
#include "fly/spread.h"
#include "units.h"

namespace cli {
namespace {

using wall_clock = std::chrono::steady_clock;

double seconds_since(wall_clock::time_point start)
{
    return std::chrono::duration<double>(wall_clock::now() - start).count();
}

// Starts flights until all have flown, as many at once as there are jobs.
class Fleet {
public:
    Fleet(const context_t& context, const fly_options_t& options, sim::ServiceModule& service)
        : context_(context), options_(options), service_(service), flights_(static_cast<size_t>(options.runs))
    {
    }

    // False: a flight could not even begin; `failure` says why.
    bool fly(failure_t& failure)
    {
        size_t next = 0;
        while (next < flights_.size() || children_.running() > 0) {
            while (next < flights_.size() && children_.running() < options_.jobs)
                if (!begin(next++)) return failed(failure, "no process for a flight");
            if (!children_.wait(
                    -1, [this](size_t number, const std::string& line) { hear(number, line); },
                    [this](const sim::child_end_t& end) { ended(end); }) &&
                errno != EINTR)
                return failed(failure, "waiting for a flight");
            if (!error_.empty()) return failed(failure, error_);
        }
        return true;
    }

    std::vector<json>& flights() { return flights_; }

private:
    bool begin(size_t number)
    {
        const uint64_t seed = options_.flying.variation.seed + number;
        return children_.start(
            number,
            [&, seed](const sim::Report& report) { return fly_in_child(options_.flying, seed, service_, report); },
            false);
    }

    static bool failed(failure_t& failure, const std::string& why)
    {
        failure = {exit_code::unexpected, "no flight: " + why, ""};
        return false;
    }

    void hear(size_t number, const std::string& line)
    {
        json object = json::parse(line, nullptr, false);
        if (object.contains("outcome"))
            flights_[number] = std::move(object);
        else if (object.contains("error"))
            error_ = object["error"];
    }

    void ended(const sim::child_end_t& end)
    {
        json& flight = flights_[end.number];
        if (flight.is_null()) {
            const uint64_t seed = options_.flying.variation.seed + end.number;
            error_ = "the service ended the process of seed " + std::to_string(seed) + " (" + end.how() + ")";
            return;
        }
        flown_++;
        if (flight["outcome"] != "finished") unfinished_++;
        show();
    }

    // A line that moves on a terminal, one now and then elsewhere.
    void show() const
    {
        if (context_.as_json) return;
        const bool last = flown_ == flights_.size();
        if (!on_terminal() && !last && flown_ % 100 != 0) return;
        std::printf("%s  %zu of %zu flown, %zu did not finish%s", on_terminal() ? "\r" : "", flown_, flights_.size(),
                    unfinished_, !on_terminal() || last ? "\n" : "");
        std::fflush(stdout);
    }

    const context_t& context_;
    const fly_options_t& options_;
    sim::ServiceModule& service_;
    sim::Children children_;
    std::vector<json> flights_;
    size_t flown_ = 0;
    size_t unfinished_ = 0;
    std::string error_;
};

std::string replay_of(const fly_options_t& options, const json& flight)
{
    const variation_t& variation = options.flying.variation;
    std::string command = "vela fly " + options.list + " --seed " + std::to_string(flight["seed"].get<uint64_t>()) +
                          " --wind " + range_text(variation.wind) + " --gusts " + range_text(variation.gusts) +
                          " --mass " + range_text(variation.mass) + " --gain " + range_text(variation.gain);
    if (variation.wind_from) command += " --wind-from " + range_text({*variation.wind_from, *variation.wind_from});
    if (!variation.noise) command += " --no-noise";
    return command + " --log worst.ulg";
}

bool draw_picture(const std::string& commands, const std::string& file, failure_t& failure)
{
    FILE* gnuplot = popen("gnuplot", "w");
    if (gnuplot != nullptr) std::fputs(commands.c_str(), gnuplot);
    if (gnuplot != nullptr && pclose(gnuplot) == 0) return true;
    failure = {exit_code::output, file + ": gnuplot did not draw it", "Install it: apt-get install gnuplot-nox"};
    return false;
}

bool write_files(const fly_options_t& options, const std::vector<json>& flights, const std::vector<spread_t>& spreads,
                 failure_t& failure)
{
    if (!options.csv.empty()) {
        const std::string csv = flights_csv(flights);
        const auto* bytes = reinterpret_cast<const uint8_t*>(csv.data());
        if (!write_file(options.csv, {bytes, csv.size()}, failure)) return false;
    }
    if (options.svg.empty() || spreads.empty()) return true;
    const std::string title = std::to_string(flights.size()) + " flights of " + options.list;
    return draw_picture(spread_picture(spreads, title, options.svg), options.svg, failure);
}

void print_summary(const fly_options_t& options, const std::vector<json>& flights, const std::vector<spread_t>& spreads,
                   double wall_seconds)
{
    double flown_seconds = 0;
    for (const json& flight : flights)
        flown_seconds += flight["seconds"].get<double>();
    std::printf("\n");
    for (const auto& [outcome, count] : outcomes_of(flights))
        std::printf("  %6zu %s\n", count, styled(outcome == "finished" ? style::good : style::bad, outcome).c_str());
    std::printf("\n");
    print_table(spread_table(spreads));
    const json& worst = worst_of(flights);
    std::printf("\n%.1f hours of flight in %s: %.0f times faster than real time.\n", flown_seconds / 3600,
                duration_text(wall_seconds).c_str(), flown_seconds / wall_seconds);
    std::printf("Worst: seed %s, %s, landed %.2f m from its start. See it:\n  %s\n", worst["seed"].dump().c_str(),
                worst["outcome"].get<std::string>().c_str(), worst["landed_m"].get<double>(),
                replay_of(options, worst).c_str());
}

}  // namespace

exit_code fly_many(const context_t& context, const fly_options_t& options, sim::ServiceModule& service)
{
    const auto start = wall_clock::now();
    failure_t failure;
    Fleet fleet(context, options, service);
    if (!fleet.fly(failure)) return report(context, failure);
    const double wall_seconds = seconds_since(start);
    std::vector<json>& flights = fleet.flights();
    for (json& flight : flights)
        flight.erase("outcome_number");
    const std::vector<spread_t> spreads = spreads_of(flights);
    if (!write_files(options, flights, spreads, failure)) return report(context, failure);
    const auto outcomes = outcomes_of(flights);
    if (context.as_json) {
        print_result(
            {{"flights", flights},
             {"outcomes", outcomes},
             {"spread", spread_json(spreads)},
             {"worst", {{"seed", worst_of(flights)["seed"]}, {"replay", replay_of(options, worst_of(flights))}}},
             {"wall_seconds", wall_seconds}});
    } else {
        print_summary(options, flights, spreads, wall_seconds);
    }
    return outcomes.size() == 1 && outcomes.contains("finished") ? exit_code::ok : exit_code::test_failed;
}

}  // namespace cli
