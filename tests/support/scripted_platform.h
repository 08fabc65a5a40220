// The platform in memory: clock, timers, bus and logger do what a test says and remember what they were given. The
// kest_* operations reach the one ScriptedPlatform that lives.
#pragma once

#include <kest_event.h>
#include <kest_mb.h>
#include <kest_osal.h>
#include <kest_sketch.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

using bytes_t = std::vector<uint8_t>;

// Time stands still until the test moves it.
class ScriptedClock {
public:
    struct timer_t {
        std::string name;
        kest_osal_timer_attrib_t attrib;
        uint64_t due_us;  // boot time of the next tick
    };

    uint64_t now_us() const { return now_us_; }

    // Time goes on, and each timer fires when it falls due: by due time, then by creation.
    void passes(std::chrono::microseconds time);

    // Time goes on and no timer notices: their schedules move along.
    void jumps(std::chrono::microseconds time);

    // One timer fires now, out of schedule.
    void ticks(const std::string& name);

    kest_result_t creation_result = 0;  // of every timer creation from now on
    uint32_t creations = 0;             // asked for, refused ones included

    std::vector<std::unique_ptr<timer_t>> timers;

private:
    timer_t* next_due(uint64_t until_us) const;

    std::atomic<uint64_t> now_us_ = 0;  // a handler may be busy on another thread while the test moves time
};

// What stands behind an event client's handle.
struct kest_event_client {
    uint16_t host;
    bool started;
    void* userdata;
    const kest_event_cmd_desc_t* tables[KEST_EVENT_SETS];
    uint32_t counts[KEST_EVENT_SETS];
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

    // Addresses of this process's endpoints.
    std::map<std::string, uint16_t> hosts = {{"flight_srv_fmu", 0x1105}, {"flight_nfz_upgrade", 0x1106}};
    int32_t target_size = 5;  // of every route table

    // Creation calls in order: "create_route_table CONFIG SERVICE ENDPOINT", "create_client", ...
    std::vector<std::string> calls;

    std::vector<record_t> sent;     // by both kinds of send, refused ones included
    std::vector<record_t> replies;  // attrib as the request's; payload as it goes out
    uint32_t sync_timeout_us = 0;   // of the last waiting send
    bool remembers = true;          // false: `sent`, `replies` and the log stay as they are, and no heap is used

    // The client with this address; null before its creation.
    kest_event_client* client(uint16_t host) const;

    // A record arrives at the client `record.to`. The bytes behind its payload are zero, as the platform promises.
    // False when it is dropped: no started client, or no descriptor for set and id.
    bool delivers(const record_t& record) const;

    std::vector<std::unique_ptr<kest_event_client>> clients;
};

class ScriptedLog {
public:
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
    bool filters = false;  // true: every line is filtered out

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
public:
    ScriptedPlatform();
    ~ScriptedPlatform();
    ScriptedPlatform(const ScriptedPlatform&) = delete;
    ScriptedPlatform& operator=(const ScriptedPlatform&) = delete;

    ScriptedClock clock;
    ScriptedBus bus;
    ScriptedLog log;
    std::mutex mutex;  // guards what is remembered: senders and loggers run on any thread
};
