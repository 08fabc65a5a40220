// What one link carried, and what it dropped for which reason.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace router {

// Each record or message that does not arrive counts in exactly one of these, at the router that drops it.
enum drop : uint32_t {
    DROP_LINK_FULL,         // from the local bus: faster than the link or the other end takes
    DROP_LINK_DOWN,         // from the local bus: the connection was lost a moment ago
    DROP_STALE,             // from the link: it was sent before the link was last down
    DROP_UNKNOWN_SENDER,    // from the link: "addresses" does not name its sender
    DROP_ADDRESS_TAKEN,     // from the link: another process has the sender's address on the local bus
    DROP_NO_ROUTE,          // from the link: the local route file does not have its receiver
    DROP_RECEIVER_ABSENT,   // from the link: nobody listens at the receiver's address
    DROP_RECEIVER_FULL,     // from the link: the receiver's queue is full
    DROP_RECEIVER_REFUSED,  // from the link: the local bus refuses it otherwise
    DROP_BAD_LENGTH,        // from the link: too short, too long, or not as long as it says
    DROP_BAD_VERSION,       // from the link: another version of the protocol
    DROP_BAD_KIND,          // from the link: a kind of message that this version does not have
    DROP_BAD_PARTS,         // from the link: a message of several parts
    DROPS,
};

// For example "link_full", as in JSON.
const char* drop_name(uint32_t reason);
// For people: what happened, and what to do.
const char* drop_text(uint32_t reason);

// Counted on the tasks of the endpoints and on the router's own thread; read by the latter.
struct counters_t {
    std::atomic<uint64_t> sent = 0;       // records handed to ZeroMQ
    std::atomic<uint64_t> delivered = 0;  // records that the local bus took
    struct drop_t {
        std::atomic<uint64_t> count = 0;
        std::atomic<uint16_t> address = 0;  // the last one that it was about; 0 where there is none
    };
    std::array<drop_t, DROPS> drops;

    void count_drop(uint32_t reason, uint16_t address)
    {
        drops[reason].address = address;
        ++drops[reason].count;
    }
};

}  // namespace router
