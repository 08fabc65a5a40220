// Copies of all records for whoever watches the bus.
#pragma once

#include <sys/uio.h>

#include <atomic>
#include <cstdint>

#include "counters.h"
#include "route_config.h"
#include "tarn_host.h"
#include "unique_fd.h"

namespace tarn {

constexpr uint8_t TAP_SENT = 0;
constexpr uint8_t TAP_RECEIVED = 1;

class tap {
public:
    // Without a tap in the configuration all copies are silently left out. 0 or the negative errno of making the
    // socket.
    int open(const route_config& routes);

    // The time for a copy, or 0 when nobody listens and none is wanted. To be taken before a record is sent: then the
    // times on the tap follow the way that the record went.
    uint64_t time_us();

    // Copies header and payload to the tap. Any thread; never blocks. A copy that a listening tap does not take counts
    // in TARN_TAP_DROPPED. A time of 0 means no copy.
    void copy(const tarn_tap_head_t& about, const iovec& head, const iovec& payload, counters& counts);

private:
    bool is_listening();

    unique_fd fd_;
    sockaddr_un address_{};
    std::atomic<bool> is_connected_ = false;
    std::atomic<int64_t> next_try_ms_ = 0;
};

}  // namespace tarn
