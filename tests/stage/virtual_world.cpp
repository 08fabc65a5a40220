#include "virtual_world.h"

#include <cstdio>
#include <filesystem>

#include "world/private_files.h"

static constexpr uint64_t LOOK_US = 1000;

static sim::rules_t rules_of(uint64_t seed)
{
    sim::rules_t rules;
    rules.seed = seed;
    return rules;
}

static bytes_t bytes_at(const void* data, size_t size)
{
    const auto* first = static_cast<const uint8_t*>(data);
    return {first, first + size};
}

VirtualWorld::VirtualWorld(uint64_t seed) : platform_(rules_of(seed))
{
    platform_.bus().hosts["tablet"] = TABLET.host;
    platform_.bus().hooks.on_tap = [this](const tarn_tap_head_t& head, const kest_event_t& event) {
        if (head.direction != 0) return watch_.on_received(head.to, event);
        sent_.push_back({head, static_cast<uint8_t>(event.msg_id >> 16), static_cast<uint8_t>(event.msg_id),
                         event.attrib, event.seq_id, bytes_at(event.msg_buf, event.msg_len)});
    };
    platform_.bus().hooks.on_send = [this](const sim::handed_over_t& record) { return decide(record); };
    platform_.log.on_line = [this](int32_t, int32_t, const char*, const char* format, va_list args) {
        char line[1024];
        std::vsnprintf(line, sizeof line, format, args);
        log_ += line;
    };
    std::string error;
    if (!service_.open(VELA_FLIGHT_MODULE, error) || !sim::make_private_files(error)) throw std::runtime_error(error);
}

void VirtualWorld::launch()
{
    log_.clear();
    watch_.on_service_launched(now_us());
    platform_.as(sim::SERVICE, [this] { service_.launch(); });
    was_launched();
    pass(SECOND_US / 10);
}

void VirtualWorld::kill()
{
    platform_.end(sim::SERVICE);
    service_.kill();
    watch_.on_service_killed();
}

size_t VirtualWorld::open_files()
{
    const std::filesystem::directory_iterator first("/proc/self/fd");
    return static_cast<size_t>(std::distance(first, std::filesystem::directory_iterator()));
}

bool VirtualWorld::until(const std::function<bool()>& condition, uint64_t limit_us)
{
    const uint64_t end = now_us() + limit_us;
    while (!condition()) {
        if (now_us() >= end) return false;
        const uint64_t look = std::min(now_us() + LOOK_US, end);
        while (platform_.step(look))
            see();
    }
    return true;
}

void VirtualWorld::pass(uint64_t us)
{
    until([] { return false; }, us);
}

std::vector<seen_t> VirtualWorld::sent(const std::function<bool(const seen_t&)>& matches) const
{
    std::vector<seen_t> found;
    std::copy_if(sent_.begin(), sent_.end(), std::back_inserter(found), matches);
    return found;
}

std::optional<kest_result_t> VirtualWorld::decide(const sim::handed_over_t& record)
{
    watch_.on_handed_over(record, now_us());
    if (!loses) return std::nullopt;
    seen_t seen = {};
    seen.head.boot_time_us = now_us();
    seen.head.from = record.from.host;
    seen.set = static_cast<uint8_t>(record.head.msg_id >> 16);
    seen.id = static_cast<uint8_t>(record.head.msg_id);
    seen.payload = bytes_at(record.payload, record.length);
    if (!loses(seen)) return std::nullopt;
    sent_.push_back(std::move(seen));
    return 0;
}

// What holds after every event, whatever the test does: orders to the motors, one reply at most, ranges that are the
// file's. The files' content is the test's own to judge.
void VirtualWorld::see()
{
    watch_.on_event(now_us());
    if (!watch_.broken().empty()) throw broken_t(watch_.broken());
}
