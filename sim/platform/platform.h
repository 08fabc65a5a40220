// The platform in memory, on a virtual clock: everything that happens is one event after the other, on the thread that
// drives it. The kest_* operations reach the one Platform that lives in the process.
#pragma once

#include <cstdarg>
#include <functional>

#include "kest_sketch.h"
#include "platform/bus.h"
#include "platform/parties.h"
#include "platform/schedule.h"
#include "platform/timers.h"

namespace sim {

// The operations that set something up. A hook may refuse each.
enum class setup { timer, route_table, route_table_end, client, client_start };

struct setup_t {
    setup what;
    const char* config = "";  // of a route table, like the next two
    const char* service = "";
    const char* endpoint = "";
};

struct log_hooks_t {
    std::function<kest_result_t(const kest_sketch_attrib_t&)> on_initialize;
    // Without it every line is filtered out.
    std::function<void(int32_t module, int32_t level, const char* head, const char* format, va_list args)> on_line;
    bool filters = false;  // true: every line is filtered out
};

class Platform {
public:
    explicit Platform(const rules_t& rules);
    ~Platform();
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;

    // The one that lives; there must be one.
    static Platform& now();

    // The next event happens; false when there is none until then, and it is then `until_us`.
    bool step(uint64_t until_us);
    // Everything until then happens.
    void run_until(uint64_t until_us);
    // Time goes on, and everything that will happen moves along.
    void skip(uint64_t time_us);

    // Happens then, outside of every party.
    void call_at(uint64_t time_us, std::function<void()> call);

    // The party's code. What it makes is the party's.
    void as(party_t party, const std::function<void()>& run);
    // Its timers and clients are gone, as if its process had died between two callbacks. Not while parties().runs().
    void end(party_t party);

    Schedule& schedule() { return schedule_; }
    Parties& parties() { return parties_; }
    Timers& timers() { return timers_; }
    Bus& bus() { return bus_; }

    std::function<kest_result_t(const setup_t&)> on_setup;  // nonzero: that is what the caller gets
    log_hooks_t log;
    int32_t route_targets = 5;  // of every route table

private:
    void call(uint32_t slot);

    Schedule schedule_;
    Parties parties_;
    Timers timers_;
    Bus bus_;
    std::deque<std::function<void()>> calls_;
    std::vector<uint32_t> free_calls_;
};

}  // namespace sim
