// Everything that passes on the bus, as it happened.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "tarn_host.h"

struct seen_t {
    tarn_tap_head_t head;
    uint8_t set;
    uint8_t id;
    uint16_t attrib;
    uint16_t seq_id;
    std::vector<uint8_t> payload;
};

// Collects on a thread of its own from construction on. A record between two endpoints of tarn is seen twice, sent and
// received.
class Tap {
public:
    Tap();
    ~Tap();
    Tap(const Tap&) = delete;
    Tap& operator=(const Tap&) = delete;

    // What matches, in order.
    std::vector<seen_t> all(const std::function<bool(const seen_t&)>& matches) const;
    void forget();

private:
    void collect();

    int socket_;
    std::atomic<bool> done_{false};
    mutable std::mutex mutex_;
    std::vector<seen_t> seen_;
    std::thread thread_;
};
