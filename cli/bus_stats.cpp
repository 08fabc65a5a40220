// vela bus stats: the counters that every endpoint keeps beside its socket.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "bus_access.h"
#include "bus_command.h"
#include "bus_counters.h"
#include "console.h"
#include "tarn_host.h"
#include "units.h"

namespace cli {
namespace {

// Counters that a newer library has and this tool does not know keep their number.
std::string counter_name(size_t counter)
{
    const char* name = tarn_counter_name(static_cast<uint32_t>(counter));
    return name != nullptr ? name : "counter_" + std::to_string(counter);
}

json json_of(const route_config_t& config, const endpoint_stats_t& stats)
{
    json counters = json::object();
    for (size_t i = 0; i < stats.values.size(); i++)
        counters[counter_name(i)] = stats.values[i];
    return {{"address", address_text(stats.host)},
            {"name", name_of(config, stats.host)},
            {"pid", stats.pid},
            {"alive", stats.alive},
            {"counters", counters}};
}

// Zeros of the less frequent counters say nothing and are left out.
void print_text(const route_config_t& config, const endpoint_stats_t& stats)
{
    const std::string process = stats.alive ? "process " + std::to_string(stats.pid)
                                            : styled(style::dim, "process " + std::to_string(stats.pid) + ", ended");
    std::printf("%s  %s  (%s)\n", address_text(stats.host).c_str(),
                styled(style::bold, name_of(config, stats.host)).c_str(), process.c_str());
    for (size_t i = 0; i < stats.values.size(); i++) {
        if (stats.values[i] == 0 && i >= TARN_SEND_NO_ROUTE) continue;
        std::printf("    %-20s %12llu\n", counter_name(i).c_str(), static_cast<unsigned long long>(stats.values[i]));
    }
}

exit_code run(const context_t& context)
{
    failure_t failure;
    const std::optional<route_config_t> config = read_route_config(context.route, failure);
    if (!config) return report(context, failure);
    const std::vector<endpoint_stats_t> all = read_endpoint_stats(config->bus_dir, failure);
    if (failure.code != exit_code::ok) return report(context, failure);
    if (context.as_json) {
        json endpoints = json::array();
        for (const endpoint_stats_t& stats : all)
            endpoints.push_back(json_of(*config, stats));
        print_result({{"bus_dir", config->bus_dir}, {"endpoints", endpoints}});
        return exit_code::ok;
    }
    if (all.empty()) std::printf("No endpoint was ever on the bus at %s.\n", config->bus_dir.c_str());
    for (const endpoint_stats_t& stats : all)
        print_text(*config, stats);
    return exit_code::ok;
}

}  // namespace

void add_bus_stats(CLI::App& group, context_t& context)
{
    CLI::App* command = add_command(
        group, context, "stats", "show the counters of every endpoint, and whether it lives", "vela bus stats --json");
    add_route_option(*command, context);
    command->callback([&context] { context.result = run(context); });
}

}  // namespace cli
