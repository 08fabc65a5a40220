// The platform on the virtual clock as the unit tests use it: everything happens in the order in which it was made,
// sends go nowhere, and clock, bus and logger do what a test says and remember what they were given.
#pragma once

#include <atomic>
#include <cerrno>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/platform.h"

using bytes_t = std::vector<uint8_t>;

// Time stands still until the test moves it.
class ScriptedClock {
public:
    using timer_t = sim::platform_timer_t;

    explicit ScriptedClock(sim::Platform& platform) : timers(platform.timers().all()), platform_(platform) {}

    uint64_t now_us() const { return platform_.schedule().now_us(); }

    // Time goes on, and each timer fires when it falls due: by due time, then by creation.
    void passes(std::chrono::microseconds time);

    // Time goes on and no timer notices: their schedules move along.
    void jumps(std::chrono::microseconds time);

    // One timer fires now, out of schedule.
    void ticks(const std::string& name);

    kest_result_t creation_result = 0;  // of every timer creation from now on
    uint32_t creations = 0;             // asked for, refused ones included

    const std::vector<std::unique_ptr<timer_t>>& timers;

private:
    sim::Platform& platform_;
};

// One record, in either direction.
struct record_t {
    uint16_t from;
    uint16_t to;
    uint8_t set;
    uint8_t id;
    uint16_t attrib = 0;
    uint16_t seq = 0;
    bytes_t payload = {};
    uint16_t padding = 0;  // the two bytes that nobody writes

    bool operator==(const record_t&) const = default;
};
void PrintTo(const record_t& record, std::ostream* out);

class ScriptedBus {
public:
    explicit ScriptedBus(sim::Bus& bus) : bus_(bus) {}

    // What each operation answers from now on.
    struct results_t {
        kest_result_t create_route_table = 0;
        kest_result_t create_client = 0;
        kest_result_t start_client = 0;
        kest_result_t send = 0;
        kest_result_t send_sync = -ETIMEDOUT;
    } results;
    bytes_t sync_reply;           // payload that a waiting send gets
    uint32_t sync_reply_len = 0;  // 0: as it is; else the length that its record claims

    // Creation calls in order: "create_route_table CONFIG SERVICE ENDPOINT", "create_client", ...
    std::vector<std::string> calls;

    std::vector<record_t> sent;     // by both kinds of send, refused ones included
    std::vector<record_t> replies;  // attrib as the request's; payload as it goes out
    uint32_t sync_timeout_us = 0;   // of the last waiting send
    bool remembers = true;          // false: `sent`, `replies` and the log stay as they are, and no heap is used

    // The client with this address; null before its creation.
    kest_event_client* client(uint16_t host) const { return bus_.client(host); }

    // A record arrives at the client `record.to`. The bytes behind its payload are zero, as the platform promises.
    // False when it is dropped: no started client, or no descriptor for set and id.
    bool delivers(const record_t& record) const;

private:
    sim::Bus& bus_;
};

class ScriptedLog {
public:
    explicit ScriptedLog(sim::log_hooks_t& hooks) : filters(hooks.filters) {}

    struct line_t {
        int32_t module;
        int32_t level;
        std::string head;    // "source function line room", as the head was asked for
        std::string format;  // the prefix, whose arguments are seconds, tag and text
        double seconds;
        std::string tag;
        std::string text;
        std::string printed;
    };
    std::vector<line_t> lines;
    bool& filters;  // true: every line is filtered out

    kest_result_t initialize_result = 0;
    kest_sketch_attrib_t attrib = {};  // as handed over
    std::string config_file;

    // Texts since the last call, oldest first; with a tag, only those of that function.
    std::vector<std::string> texts(const std::string& tag = "");
    size_t count(const std::string& text) const;  // lines with this text so far

private:
    size_t seen_ = 0;
};

class ScriptedPlatform {
    sim::Platform platform_;

public:
    ScriptedPlatform();

    ScriptedClock clock;
    ScriptedBus bus;
    ScriptedLog log;
    std::mutex mutex;  // guards what is remembered: senders and loggers run on any thread

private:
    kest_result_t set_up(const sim::setup_t& setup);
    void remember(const sim::handed_over_t& record);
    kest_result_t answer(const sim::handed_over_t& record, const sim::answer_room_t& room);
    void remember_line(int32_t module, int32_t level, const char* head, const char* format, va_list args);
};
