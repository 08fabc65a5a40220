// vela version: which versions are on the aircraft.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "bus_access.h"
#include "command.h"
#include "version_run.h"
#include "waiter.h"

namespace cli {
namespace {

constexpr uint32_t TIMEOUT_US = 1'000'000;
constexpr uint32_t TRIES = 3;

struct options_t {
    std::string as = "factory/station";
};

exit_code run(const context_t& context, const options_t& options)
{
    failure_t failure;
    Waiter waiter;
    const std::unique_ptr<peers::BusEndpoint> endpoint = open_endpoint(context, options.as, failure);
    if (!endpoint) return report(context, failure);
    const peers::service_versions_t versions = ask_versions(*endpoint, TIMEOUT_US, TRIES, waiter);
    if (versions.result != 0) return report(context, explain_no_answer(versions.result));
    if (context.as_json) {
        print_result({{"service", peers::version_text(versions.service)},
                      {"database", peers::version_text(versions.database)},
                      {"answer_us", versions.elapsed_us}});
    } else {
        std::printf("service   %s\n", peers::version_text(versions.service).c_str());
        std::printf("database  %s\n", database_text(versions.database).c_str());
    }
    return exit_code::ok;
}

}  // namespace

void add_version_command(CLI::App& tool, context_t& context)
{
    CLI::App* command =
        add_command(tool, context, "version", "show the versions of service and database", "vela version --json");
    const auto options = std::make_shared<options_t>();
    add_route_option(*command, context);
    add_as_option(*command, options->as);
    command->callback([&context, options] { context.result = run(context, *options); });
}

}  // namespace cli
