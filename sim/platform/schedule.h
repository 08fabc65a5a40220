// The virtual clock and what will happen: time moves only to the next event.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "platform/random.h"

namespace sim {

enum class event_kind : uint8_t { tick, arrival, call };

struct event_t {
    uint64_t time_us;
    uint64_t order;     // among events of one time
    uint64_t sequence;  // among events of one order
    event_kind kind;
    uint32_t subject;  // which timer, record or call
};

// How the seed makes things happen.
struct rules_t {
    uint64_t seed = 1;
    bool shuffled = true;              // events of one time in an order of the seed; false: by subject
    uint32_t latency_least_us = 20;    // from a send to the receiver's callback
    uint32_t latency_most_us = 200;    //
    uint32_t tick_late_most_us = 100;  // how much later than due a timer's callback starts
};

class Schedule {
public:
    explicit Schedule(const rules_t& rules);

    uint64_t now_us() const { return now_us_; }
    const rules_t& rules() const { return rules_; }
    Random& random() { return random_; }

    // An event that should have been is next.
    void add(uint64_t time_us, event_kind kind, uint32_t subject);

    // Takes the next event and moves time to it; false when there is none until then, and time is `until_us`.
    bool take(uint64_t until_us, event_t& event);

    // Time goes on, and everything that will happen moves along.
    void skip(uint64_t time_us);

    uint64_t events() const { return taken_; }  // taken so far

private:
    const rules_t rules_;
    Random random_;
    std::atomic<uint64_t> now_us_ = 0;  // a test may move it while another thread looks
    uint64_t sequence_ = 0;
    uint64_t taken_ = 0;
    std::vector<event_t> heap_;
};

}  // namespace sim
