// vela demo: the whole story with a service that it starts itself.
#include <CLI/CLI.hpp>
#include <memory>

#include "command.h"
#include "demo/demo.h"
#include "units.h"

namespace cli {
namespace {

struct options_t {
    demo_options_t demo;
    std::string size = "1M";
    std::string rate = "400k";
};

exit_code run(const context_t& context, options_t& options)
{
    const std::optional<uint64_t> size = parse_size(options.size);
    const std::optional<uint64_t> rate = parse_size(options.rate);
    if (!size || *size > 1u << 30) {
        return report(context, {exit_code::usage, "--size: \"" + options.size + "\" is no size up to 1G",
                                "Write bytes, or 512k, 1M."});
    }
    if (!rate) {
        return report(context, {exit_code::usage, "--rate: \"" + options.rate + "\" is no rate",
                                "Write bytes a second, or 400k, 1M; 0 for no bound."});
    }
    options.demo.size = *size;
    options.demo.rate = *rate;
    return run_demo(context, options.demo);
}

}  // namespace

void add_demo_command(CLI::App& tool, context_t& context)
{
    CLI::App* command = add_command(
        tool, context, "demo", "start the service and bring a database and restricted areas to a simulated aircraft",
        "./dev run, which makes an aircraft file system and calls this");
    const auto options = std::make_shared<options_t>();
    command->add_option("--service", options->demo.service, "the vela_flight program")->required();
    command->add_option("--areas", options->demo.areas, "GeoJSON file of restricted areas");
    command->add_option("--flight", options->demo.list, "fly this motion list instead");
    command->add_option("--flight-log", options->demo.flight_log, "ULog file for the record of that flight")
        ->capture_default_str();
    add_route_option(*command, context);
    command->add_option("--size", options->size, "bytes of the database")->capture_default_str();
    command->add_option("--rate", options->rate, "bytes a second over the simulated phone's link, 0: no bound")
        ->capture_default_str();
    command->add_option("--log", options->demo.log, "where the service's output goes")->capture_default_str();
    command->callback([&context, options] { context.result = run(context, *options); });
}

}  // namespace cli
