// One received message as the handlers see it, and the rows of a command table.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kest_event.h"

struct flight_v1_pack_t {
    uint16_t sender;    // bus address of the peer
    uint16_t receiver;  // this service, always 0x1105
    uint8_t cmd_set;
    uint8_t cmd_id;
    uint16_t seq_num;
    const uint8_t* p_data;  // payload inside the record; valid during the call
    uint16_t data_len;
    uint8_t enc_type;
    uint8_t need_ack;     // 0: no reply wanted
    uint8_t is_ack_pack;  // 1: the message is itself a reply
    const kest_event_t* event;
};

// Writes a reply of at most `ack_buf_len` bytes to `ack_buf` and returns its length, 0 for none. The first byte is the
// handler's result code. Runs on the task of the client that received the message.
using flight_handle_t = size_t (*)(flight_v1_pack_t* pack, char* ack_buf, size_t ack_buf_len);

struct flight_map_table_t {
    uint8_t cmd_set;
    uint8_t cmd_id;
    flight_handle_t handle;
};

// Room that the dispatch gives a handler for its reply.
inline constexpr size_t FLIGHT_ACK_BUF_SIZE = 1024;
