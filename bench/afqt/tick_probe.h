// Looks over the shoulder of the flight test's timer: when each tick begins and what it costs. A bare thread that is
// due at the same moments, hence meets the same neighbours, and sends as much to a reader as one stick frame is, shows
// what this machine gives anybody.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

struct tick_t {
    uint64_t begin_ns;  // CLOCK_MONOTONIC
    uint64_t cpu_ns;    // of this thread: the whole tick, or the bare send
};

class TickTrack {
public:
    static constexpr size_t MOST = 200'000;

    // On the ticking thread.
    void add(const tick_t& tick);

    size_t size() const { return size_.load(std::memory_order_acquire); }
    const tick_t& operator[](size_t i) const { return ticks_[i]; }

private:
    std::atomic<size_t> size_ = 0;
    tick_t ticks_[MOST];
};

// Shared between the process that measures and the service's process, hence no pointers in it.
struct tick_probe_t {
    TickTrack service;
    TickTrack bare;
};

// In memory that children share; lives until the process ends.
tick_probe_t* make_tick_probe();

// The service's timers of this process are watched from here on.
void watch_ticks(tick_probe_t* probe);
