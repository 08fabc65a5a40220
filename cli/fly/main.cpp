// vela-fly: what `vela fly` runs. A program of its own, because it carries the platform of the virtual clock in place
// of the bus library.
#include <unistd.h>
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <climits>
#include <cstdio>
#include <exception>
#include <filesystem>

#include "command.h"
#include "files.h"
#include "fly/fly_run.h"

namespace {

using cli::context_t;
using cli::exit_code;
using cli::fly_options_t;

std::string installed_module()
{
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    return (program.parent_path() / "../lib/vela/vela_flight_module.so").lexically_normal().string();
}

exit_code fly(const context_t& context, fly_options_t& options)
{
    cli::failure_t failure;
    const auto list = cli::read_file(options.list, failure);
    if (!list) return cli::report(context, failure);
    options.flying.list.assign(list->begin(), list->end());
    sim::ServiceModule service;
    std::string error;
    if (!service.open(options.service.empty() ? installed_module() : options.service, error))
        return cli::report(context, {exit_code::configuration, "the service's module " + error,
                                     "Name it with --service; the build leaves it in lib/vela/."});
    return options.runs == 0 ? cli::fly_once(context, options, service) : cli::fly_many(context, options, service);
}

void add_range(CLI::App& command, const std::string& name, cli::range_t& range, const std::string& what)
{
    command
        .add_option_function<std::string>(
            name, [&range](const std::string& text) { range = *cli::parse_range(text); }, what)
        ->check([](const std::string& text) {
            return cli::parse_range(text) ? "" : text + ": wanted a number or a range, such as 1 or 0.9:1.1";
        })
        ->type_name("N or N:N")
        ->default_str(cli::range_text(range));
}

void add_options(CLI::App& command, context_t& context, fly_options_t& options)
{
    cli::variation_t& variation = options.flying.variation;
    command.add_flag("--json", context.as_json, "print JSON instead of text");
    command.add_option("list", options.list, "motion list")->required();
    command.add_option("--seed", variation.seed, "decides the noise, the draws and what happens first")
        ->capture_default_str();
    add_range(command, "--wind", variation.wind, "speed of the wind, m/s");
    command.add_option("--wind-from", variation.wind_from, "where it comes from, degrees; else the seed decides");
    add_range(command, "--gusts", variation.gusts, "m/s, standard deviation");
    add_range(command, "--mass", variation.mass, "factor on mass and inertia");
    add_range(command, "--gain", variation.gain, "factor on the gains of all loops");
    command.add_flag("!--no-noise,--noise", variation.noise, "sensor noise; an aircraft without it is never seen home");
    command.add_option("--log", options.flying.log, "write the flight record (ULog); one flight only");
    CLI::Option* runs = command.add_option("--runs", options.runs, "fly so many seeds, from --seed on")
                            ->check(CLI::Range(1, 1'000'000));
    command.add_option("--jobs", options.jobs, "so many at once")->check(CLI::Range(1, 256))->capture_default_str();
    command.add_option("--csv", options.csv, "with --runs: a row for each flight")->needs(runs);
    command.add_option("--svg", options.svg, "with --runs: a picture of the spreads")->needs(runs);
    command.add_option("--service", options.service, "the service's module; else ../lib/vela/ beside this program");
    runs->excludes("--log");
    command.footer(
        "Numbers written as a range are drawn by the seed of each flight.\n"
        "Examples: vela fly hover.json --wind 5\n"
        "          vela fly steps.json --runs 1000 --jobs 2 --wind 0:6 --mass 0.9:1.1 --gain 0.9:1.1 --svg spread.svg");
}

int run(int argc, char** argv)
{
    context_t context;
    fly_options_t options;
    CLI::App command("Flies a motion list with the real service on a virtual clock: no waiting, no bus, no root.",
                     "vela fly");
    add_options(command, context, options);
    try {
        command.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return command.exit(error) == 0 ? 0 : static_cast<int>(exit_code::usage);
    }
    return static_cast<int>(fly(context, options));
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vela fly: %s\n", error.what());
        return static_cast<int>(exit_code::unexpected);
    }
}
