// The connections to the peers that this endpoint sends to, one per address of the route configuration.
#pragma once

#include <sys/socket.h>

#include <mutex>

#include "counters.h"
#include "route_config.h"
#include "unique_fd.h"

namespace tarn {

class outgoing {
public:
    // Before the first send. `routes` must stay.
    void open(const route_config& routes, uint16_t own_host);

    // Hands one record to the kernel, connecting first where needed; a connection whose peer has gone is reopened once.
    // 0 or a negative errno (-EHOSTUNREACH: address not in the configuration). Any thread; never blocks; no heap.
    int send(uint16_t peer, const msghdr& record, counters& counts);

private:
    struct connection {
        uint16_t host = 0;
        std::mutex mutex;  // for fd; also keeps the records of several threads one behind the other
        unique_fd fd;      // empty until the first send
    };

    connection* find(uint16_t peer);
    int connect(connection& to, counters& counts) const;

    const route_config* routes_ = nullptr;
    uint16_t own_host_ = 0;
    uint32_t count_ = 0;
    connection connections_[KEST_MB_MAX_TARGETS];
};

}  // namespace tarn
