// The counters that every endpoint keeps in a file beside its socket.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "failure.h"

namespace cli {

struct endpoint_stats_t {
    uint32_t pid = 0;
    uint16_t host = 0;
    bool alive = false;
    std::vector<uint64_t> values;  // as many as the writer has
};

// Of all endpoints that ever were in `bus_dir`, by address. `failure` is filled when the directory cannot be read.
std::vector<endpoint_stats_t> read_endpoint_stats(const std::string& bus_dir, failure_t& failure);

// Counts from now on what the tap does not take, over endpoints that come and go.
class TapLosses {
public:
    explicit TapLosses(std::string bus_dir);

    // To be called now and then: what an endpoint lost in a life between two calls is not seen.
    void look();

    uint64_t all() const;
    std::map<uint16_t, uint64_t> by_sender() const;  // those that lost something

private:
    struct sender_t {
        uint32_t pid = 0;
        uint64_t last = 0;  // of its counter
        uint64_t lost = 0;
    };

    const std::string bus_dir_;
    std::map<uint16_t, sender_t> senders_;
};

}  // namespace cli
