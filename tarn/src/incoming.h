// The connections that peers have made to this endpoint: room for them, who is behind each, and their records.
#pragma once

#include <sys/socket.h>
#include <sys/types.h>

#include <ctime>

#include "counters.h"
#include "kest_event.h"
#include "route_config.h"
#include "unique_fd.h"

namespace tarn {

// More than there are addresses in a configuration. Strangers that connect and say nothing are put out first.
constexpr uint32_t CONNECTIONS_MAX = 256;
struct incoming_connection {
    unique_fd fd;
    uid_t uid;         // of the process that connected, as the kernel says
    bool has_greeted;  // its hello was taken: `sender` is valid
    uint16_t sender;
    uint64_t age;   // number of the connection, growing
    bool is_busy;   // several records were waiting in its last turn
    uint8_t turns;  // wraps
};

// At most so many lines about closed connections in one second, or a hostile peer would fill the console.
constexpr uint32_t LINES_PER_SECOND = 5;

class incoming {
public:
    // `routes` and `counts` must stay.
    void open(const route_config& routes, uint16_t own_host, counters& counts);

    // Takes over an accepted socket. Null when there is no room and every connection has said who it is.
    incoming_connection* add(unique_fd fd);

    // Reads the next record of the connection without blocking. True when a sound event is in `event`, with the
    // sender's address in it and zero bytes behind its payload. False when none waits, and when the connection was
    // closed: at the peer's end, or because a record was unsound. The hello is taken on the way.
    bool read(incoming_connection& from, kest_event_t& event);

private:
    bool take_hello(incoming_connection& from, const kest_event_t& record, size_t size);
    bool take_event(incoming_connection& from, kest_event_t& record, size_t size);
    bool refuse(incoming_connection& from, uint32_t counter, const char* reason);
    bool may_print();

    const route_config* routes_ = nullptr;
    counters* counts_ = nullptr;
    uint16_t own_host_ = 0;
    uint64_t next_age_ = 1;
    time_t printing_second_ = 0;
    uint32_t printed_ = 0;
    incoming_connection connections_[CONNECTIONS_MAX] = {};
};

}  // namespace tarn
