// Counters of one endpoint, in a file that others map and read while we count.
#pragma once

#include <cstdint>

#include "route_config.h"
#include "tarn_host.h"

namespace tarn {

class counters {
public:
    counters() = default;
    counters(const counters&) = delete;
    counters& operator=(const counters&) = delete;
    ~counters();

    // Puts a new file in place of an old one. Where the file cannot be written the endpoint counts in private, and one
    // line on standard error says so. Call once, before others count.
    void open(const route_config& routes, uint16_t host);

    // Any thread; never blocks.
    void add(uint32_t counter);
    uint64_t value(uint32_t counter) const;
    uint16_t host() const { return stats_->host; }

private:
    tarn_stats_file_t private_{};
    tarn_stats_file_t* stats_ = &private_;
};

}  // namespace tarn
