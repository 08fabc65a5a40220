// What two routers say to each other. One ZeroMQ message holds this head and, when it carries a record, the record as
// it travels on the bus: 16 bytes and msg_len bytes of payload. Little-endian.
//
// Each end gives its time a number, a session, and takes a new one whenever it finds the link down. A message repeats
// the session of the end that gets it. So what waited somewhere while the link was down is known to be old.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "kest_event.h"

namespace router {

inline constexpr uint8_t LINK_VERSION = 1;

enum class message_kind : uint8_t {
    record = 0,
    hello = 1,  // I am here, this is my session: when a connection stands, then twice a second
    bye = 2,    // I am about to end
};

#pragma pack(push, 1)
struct link_head_t {
    uint8_t version;   // LINK_VERSION
    uint8_t kind;      // message_kind
    uint16_t from;     // of a record: who sends it, by the address on the sender's own bus
    uint16_t to;       // of a record: who gets it, by the address on the receiver's bus
    uint32_t session;  // of the receiving end, as it was last heard; 0: not yet
};

struct link_hello_t {
    link_head_t head;
    uint32_t session;  // of the sending end; not 0
};
#pragma pack(pop)
static_assert(sizeof(link_head_t) == 10 && offsetof(link_head_t, from) == 2 && offsetof(link_head_t, to) == 4 &&
              offsetof(link_head_t, session) == 6);
static_assert(sizeof(link_hello_t) == 14 && offsetof(link_hello_t, session) == 10);

inline constexpr size_t LINK_MESSAGE_MAX = sizeof(link_head_t) + KEST_EVENT_SIZE;

struct link_message_t {
    link_head_t head;
    uint32_t far_session;  // of a hello
    kest_event_t event;    // of a record; its peer_host is the receiver
};

enum class message_fault { none, length, version, kind };

// Takes a message apart. Whatever is wrong is found before a byte of a record is touched; what does not belong to the
// kind of message stays as it was.
message_fault read_message(std::span<const uint8_t> bytes, link_message_t& message);

// Writes a record's message into `out` and returns its length. `event.msg_len` is at most 1008.
size_t write_message(const link_head_t& head, const kest_event_t& event, std::span<uint8_t, LINK_MESSAGE_MAX> out);

}  // namespace router
