#include "bus_counters.h"

#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>

#include "tarn_host.h"

namespace cli {
namespace {

constexpr char MAGIC[] = "TARNSTA1";
constexpr size_t HEAD_SIZE = offsetof(tarn_stats_file_t, value);

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
    endpoint_stats_t stats = {head.pid, head.host, is_alive(head.pid), {}};
    uint64_t value = 0;
    for (uint16_t i = 0; i < head.counters && file.read(reinterpret_cast<char*>(&value), sizeof value); i++) {
        stats.values.push_back(value);
    }
    return stats;
}

uint64_t tap_dropped(const endpoint_stats_t& stats)
{
    return stats.values.size() > TARN_TAP_DROPPED ? stats.values[TARN_TAP_DROPPED] : 0;
}

}  // namespace

std::vector<endpoint_stats_t> read_endpoint_stats(const std::string& bus_dir, failure_t& failure)
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

TapLosses::TapLosses(std::string bus_dir) : bus_dir_(std::move(bus_dir))
{
    failure_t unread;
    for (const endpoint_stats_t& stats : read_endpoint_stats(bus_dir_, unread))
        senders_[stats.host] = {stats.pid, tap_dropped(stats), 0};
}

// An endpoint that is new has counted from zero, all of it since the last look.
void TapLosses::look()
{
    failure_t unread;
    for (const endpoint_stats_t& stats : read_endpoint_stats(bus_dir_, unread)) {
        sender_t& sender = senders_[stats.host];
        const uint64_t dropped = tap_dropped(stats);
        if (sender.pid != stats.pid || dropped < sender.last) sender.last = 0;
        sender.pid = stats.pid;
        sender.lost += dropped - sender.last;
        sender.last = dropped;
    }
}

uint64_t TapLosses::all() const
{
    uint64_t sum = 0;
    for (const auto& [host, sender] : senders_)
        sum += sender.lost;
    return sum;
}

std::map<uint16_t, uint64_t> TapLosses::by_sender() const
{
    std::map<uint16_t, uint64_t> lost;
    for (const auto& [host, sender] : senders_) {
        if (sender.lost > 0) lost[host] = sender.lost;
    }
    return lost;
}

}  // namespace cli
