// The bytes on a connection, and the promises that their layout keeps.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "kest_event.h"

namespace tarn {

static_assert(std::endian::native == std::endian::little, "records travel little-endian, as they lie in memory");
static_assert(sizeof(kest_event_t) == KEST_EVENT_SIZE);
static_assert(offsetof(kest_event_t, msg_id) == 0 && offsetof(kest_event_t, peer_host) == 4 &&
              offsetof(kest_event_t, attrib) == 6 && offsetof(kest_event_t, seq_id) == 8 &&
              offsetof(kest_event_t, reserved) == 10 && offsetof(kest_event_t, msg_len) == 12 &&
              offsetof(kest_event_t, msg_buf) == KEST_EVENT_HEAD_SIZE);

// The head of a kest_event_t alone, for records whose payload lies elsewhere.
struct record_head {
    uint32_t msg_id;
    uint16_t peer_host;
    uint16_t attrib;
    uint16_t seq_id;
    uint16_t reserved;
    uint32_t msg_len;
};
static_assert(sizeof(record_head) == KEST_EVENT_HEAD_SIZE && offsetof(record_head, peer_host) == 4 &&
              offsetof(record_head, attrib) == 6 && offsetof(record_head, seq_id) == 8 &&
              offsetof(record_head, msg_len) == 12);

constexpr uint16_t ATTRIB_NEED_ACK = 0x0060;
constexpr uint16_t ATTRIB_IS_REPLY = 0x0080;

// The first record of every connection: magic byte, version of the wire, and who speaks.
#pragma pack(push, 1)
struct hello {
    uint8_t magic;
    uint8_t version;
    uint16_t host;
};
#pragma pack(pop)
static_assert(sizeof(hello) == 4 && offsetof(hello, host) == 2);
constexpr uint8_t HELLO_MAGIC = 0x54;
constexpr uint8_t HELLO_VERSION = 0x01;

}  // namespace tarn
