// Listening at the tap of the bus for a command: live, or without losing what comes while the command writes.
#pragma once

#include <atomic>
#include <chrono>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>

#include "bus_access.h"
#include "tap_socket.h"

namespace cli {

// Opens the tap of the route configuration; false with `failure` filled, also when it names none.
bool open_tap(const context_t& context, const route_config_t& config, TapSocket& tap, failure_t& failure);

// The end of a watch that was given `seconds` of real time; none: no end.
class Deadline {
public:
    explicit Deadline(std::optional<double> seconds);

    // Time left, none without an end; 0 when it is over.
    std::optional<std::chrono::milliseconds> left() const;

private:
    std::optional<std::chrono::steady_clock::time_point> end_;
};

// Drains the tap on a thread that does nothing else: the kernel queues few datagrams, and drops what comes meanwhile.
class TapQueue {
public:
    explicit TapQueue(TapSocket& tap);  // which must outlive it
    ~TapQueue();
    TapQueue(const TapQueue&) = delete;
    TapQueue& operator=(const TapQueue&) = delete;

    // What came since the last call, in order. Nobody is woken for a record, as that would take the time that the next
    // ones need.
    std::deque<tap_record_t> take();

    // Records that came while MOST waited already: whoever takes them does not keep up.
    uint64_t lost() const { return lost_; }

private:
    static constexpr size_t MOST = 65536;
    void drain();
    void keep(const tap_record_t& record);

    TapSocket& tap_;
    std::atomic<bool> done_ = false;
    std::atomic<uint64_t> lost_ = 0;
    std::mutex mutex_;
    std::deque<tap_record_t> records_;  // guarded by the mutex; grows without moving what is there, which takes long
    std::thread thread_;
};

}  // namespace cli
