#include "scripted_platform.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <ostream>

// Nothing takes time, and nothing is left to chance.
static constexpr sim::rules_t RULES = {
    .seed = 1, .shuffled = false, .latency_least_us = 0, .latency_most_us = 0, .tick_late_most_us = 0};

ScriptedPlatform::ScriptedPlatform() : platform_(RULES), clock(platform_), bus(platform_.bus()), log(platform_.log)
{
    platform_.on_setup = [this](const sim::setup_t& setup) { return set_up(setup); };
    platform_.bus().hooks.on_send = [this](const sim::handed_over_t& record) {
        remember(record);
        return bus.results.send;
    };
    platform_.bus().hooks.on_ask = [this](const sim::handed_over_t& record, const sim::answer_room_t& room) {
        remember(record);
        return answer(record, room);
    };
    platform_.log.on_initialize = [this](const kest_sketch_attrib_t& attrib) {
        log.attrib = attrib;
        log.config_file = attrib.config_file != nullptr ? attrib.config_file : "";
        return log.initialize_result;
    };
    platform_.log.on_line = [this](int32_t module, int32_t level, const char* head, const char* format, va_list args) {
        remember_line(module, level, head, format, args);
    };
}

kest_result_t ScriptedPlatform::set_up(const sim::setup_t& setup)
{
    const auto called = [&](std::string call, kest_result_t result) {
        bus.calls.push_back(std::move(call));
        return result;
    };
    switch (setup.what) {
        case sim::setup::timer:
            ++clock.creations;
            return clock.creation_result;
        case sim::setup::route_table:
            return called(
                std::string("create_route_table ") + setup.config + " " + setup.service + " " + setup.endpoint,
                bus.results.create_route_table);
        case sim::setup::route_table_end:
            return called("destroy_route_table", 0);
        case sim::setup::client:
            return called("create_client", bus.results.create_client);
        case sim::setup::client_start:
            return called("start_client", bus.results.start_client);
    }
    return 0;
}

// --- clock ---

static uint64_t count_us(std::chrono::microseconds time)
{
    return static_cast<uint64_t>(time.count());
}

void ScriptedClock::passes(std::chrono::microseconds time)
{
    platform_.run_until(now_us() + count_us(time));
}

void ScriptedClock::jumps(std::chrono::microseconds time)
{
    platform_.skip(count_us(time));
}

void ScriptedClock::ticks(const std::string& name)
{
    for (const auto& timer : timers)
        if (timer->name == name) return platform_.timers().fire(*timer);
    std::abort();  // the test waits for a timer that nobody created
}

// --- bus ---

void PrintTo(const record_t& record, std::ostream* out)
{
    *out << std::hex << std::setfill('0') << "record " << record.from << ">" << record.to << " set " << int{record.set}
         << " id " << int{record.id} << " attrib " << record.attrib << " seq " << record.seq << " pad "
         << record.padding << " [" << std::dec << record.payload.size() << "]" << std::hex;
    for (const uint8_t byte : record.payload)
        *out << " " << std::setw(2) << int{byte};
    *out << std::dec;
}

bool ScriptedBus::delivers(const record_t& record) const
{
    kest_event_client* receiver = client(record.to);
    if (receiver == nullptr || !receiver->started) return false;
    kest_event_t event = {};
    event.msg_id = static_cast<uint32_t>(record.set) << 16 | record.id;
    event.peer_host = record.from;
    event.attrib = record.attrib;
    event.seq_id = record.seq;
    event.msg_len = static_cast<uint32_t>(record.payload.size());
    std::copy(record.payload.begin(), record.payload.end(), event.msg_buf);
    return bus_.dispatch(*receiver, event);
}

void ScriptedPlatform::remember(const sim::handed_over_t& record)
{
    if (!bus.remembers) return;
    const kest_event_t& head = record.head;
    const auto* bytes = static_cast<const uint8_t*>(record.payload);
    const std::lock_guard lock(mutex);
    (record.kind == sim::send_kind::reply ? bus.replies : bus.sent)
        .push_back({record.from.host, head.peer_host, static_cast<uint8_t>(head.msg_id >> 16),
                    static_cast<uint8_t>(head.msg_id), head.attrib, head.seq_id, bytes_t(bytes, bytes + record.length),
                    head.reserved});
}

kest_result_t ScriptedPlatform::answer(const sim::handed_over_t& record, const sim::answer_room_t& room)
{
    bus.sync_timeout_us = room.timeout_us;
    if (bus.results.send_sync != 0) return bus.results.send_sync;
    const size_t size = KEST_EVENT_HEAD_SIZE + bus.sync_reply.size();
    if (*room.reply_size < size) return -EMSGSIZE;
    kest_event_t reply = record.head;
    reply.attrib = 0x80;
    reply.msg_len = bus.sync_reply_len != 0 ? bus.sync_reply_len : static_cast<uint32_t>(bus.sync_reply.size());
    std::copy(bus.sync_reply.begin(), bus.sync_reply.end(), reply.msg_buf);
    std::memcpy(room.reply, &reply, size);
    *room.reply_size = static_cast<uint32_t>(size);
    return 0;
}

// --- log ---

std::vector<std::string> ScriptedLog::texts(const std::string& tag)
{
    std::vector<std::string> texts;
    for (; seen_ < lines.size(); ++seen_)
        if (tag.empty() || lines[seen_].tag == tag) texts.push_back(lines[seen_].text);
    return texts;
}

size_t ScriptedLog::count(const std::string& text) const
{
    return static_cast<size_t>(
        std::count_if(lines.begin(), lines.end(), [&](const line_t& line) { return line.text == text; }));
}

void ScriptedPlatform::remember_line(int32_t module, int32_t level, const char* head, const char* format, va_list args)
{
    if (!bus.remembers) return;
    ScriptedLog::line_t line = {module, level, head, format, 0, {}, {}, {}};
    char printed[512];
    va_list copy;
    va_copy(copy, args);
    std::vsnprintf(printed, sizeof printed, format, copy);
    va_end(copy);
    line.printed = printed;
    line.seconds = va_arg(args, double);
    line.tag = va_arg(args, const char*);
    line.text = va_arg(args, const char*);
    const std::lock_guard lock(mutex);
    log.lines.push_back(std::move(line));
}
