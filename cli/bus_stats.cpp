// vela bus stats: the counters that every endpoint keeps beside its socket.
#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "bus_access.h"
#include "bus_command.h"
#include "console.h"
#include "tarn_host.h"
#include "units.h"

namespace cli {
namespace {

constexpr char MAGIC[] = "TARNSTA1";
constexpr size_t HEAD_SIZE = offsetof(tarn_stats_file_t, value);

struct endpoint_stats_t {
    std::string file;
    uint32_t pid = 0;
    uint16_t host = 0;
    bool alive = false;
    std::vector<uint64_t> values;  // as many as the writer has
};

// A process of another user is alive, too.
bool is_alive(uint32_t pid)
{
    if (pid == 0 || pid > INT32_MAX) return false;
    return kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM;
}

std::optional<endpoint_stats_t> read_stats(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    tarn_stats_file_t head;
    if (!file.read(reinterpret_cast<char*>(&head), HEAD_SIZE)) return std::nullopt;
    if (std::memcmp(head.magic, MAGIC, sizeof head.magic) != 0) return std::nullopt;
    endpoint_stats_t stats = {path.filename().string(), head.pid, head.host, is_alive(head.pid), {}};
    uint64_t value = 0;
    for (uint16_t i = 0; i < head.counters && file.read(reinterpret_cast<char*>(&value), sizeof value); i++) {
        stats.values.push_back(value);
    }
    return stats;
}

std::vector<endpoint_stats_t> read_all(const std::string& bus_dir, failure_t& failure)
{
    std::vector<endpoint_stats_t> all;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(bus_dir, error)) {
        if (entry.path().extension() != ".stats") continue;
        if (auto stats = read_stats(entry.path())) all.push_back(std::move(*stats));
    }
    if (error) failure = {exit_code::configuration, bus_dir + ": cannot be read: " + error.message(), ""};
    std::sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.host < b.host; });
    return all;
}

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
    const std::vector<endpoint_stats_t> all = read_all(config->bus_dir, failure);
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
