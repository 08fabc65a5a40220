// vela-soak: runs seeds until time is up. A failing one is cut down to the fewest actions that still fail and printed
// with the command that replays it.
#include <cstdio>
#include <exception>
#include <filesystem>

#include <CLI/CLI.hpp>

#include "soak/seed_runs.h"

namespace {

std::string built_module()
{
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    return (program.parent_path() / "../lib/vela/vela_flight_module.so").lexically_normal().string();
}

int run(int argc, char** argv)
{
    sim::soak_options_t options;
    options.service = built_module();
    CLI::App command("Runs the whole system on a virtual clock with the work and the faults that seeds make up.",
                     "vela-soak");
    command.add_option("minutes", options.minutes, "how long")->check(CLI::PositiveNumber)->capture_default_str();
    command.add_option("--seeds", options.seeds, "so many seeds instead");
    command.add_option("--first", options.first, "the first seed; else by the date");
    command.add_option("--jobs", options.jobs, "so many at once")
        ->check(CLI::Range(1, 256))
        ->capture_default_str()
        ->take_last();
    command.add_flag("--twice", options.twice, "run each seed a second time and compare the traces");
    command.add_flag("--json", options.as_json, "print JSON instead of text");
    command.add_option("--replay", options.replay, "run this seed only, and say what happens in it");
    command.add_option("--only", options.only, "with --replay: these of its actions, for example 3,7")->delimiter(',');
    command.add_option("--service", options.service, "the service's module")->capture_default_str();
    CLI11_PARSE(command, argc, argv);
    return sim::run_seeds(options);
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
