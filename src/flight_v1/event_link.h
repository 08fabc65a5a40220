// One endpoint of the service on the bus: creation, command dispatch, sending. The flight client and the upgrade client
// are two instances with different names and texts.
#pragma once

#include <atomic>

#include "common/flight_result.h"
#include "common/shared_word.h"
#include "flight_v1/flight_v1_pack.h"
#include "kest_event.h"

inline constexpr uint32_t EVENT_LINK_IDS = 255;  // command ids 0 to 254 are received, in every set

struct event_link_t {
    // Fixed at definition.
    const char* endpoint;      // its name in the route configuration
    uint32_t event_flags;      // flags word of every descriptor
    kest_event_cb_t callback;  // both for requests and for replies
    const char* init_tag;      // tag of the creation logs
    const char* route_failed;  // begins the log of a missing route
    const char* text_prefix;   // begins the other logs
    bool logs_success;

    kest_event_client_t client = nullptr;            // written by creation, before callbacks and senders exist
    shared_word<const flight_map_table_t*> table{};  // start-up writes, client task reads
    shared_word<uint32_t> table_size{};              // likewise; 0 while the table is exchanged
    std::atomic<uint16_t> seq_id{};                  // every sending thread counts it up; wraps
    kest_event_cmd_desc_t event_table[EVENT_LINK_IDS] = {};
};

// Creates and starts the client. -10001 when there is no route; a client that cannot be created or started is logged
// and reported as 0. Main thread, once.
flight_result_t event_link_init(event_link_t& link);

// Installs `size` rows; they are not copied. A second call replaces the first.
void event_link_set_table(event_link_t& link, const flight_map_table_t* table, uint32_t size);

// The handler of the last row that matches, or null.
flight_handle_t event_link_get_handle(const event_link_t& link, uint8_t cmd_set, uint8_t cmd_id);

// Fills `pack` from a received record; `pack` points into `event`.
void event_link_unpack(const kest_event_t* event, flight_v1_pack_t* pack);

// Runs the record's handler and sends its reply if one is wanted. Client task.
kest_result_t event_link_receive(event_link_t& link, const kest_event_t* event);

// A message to be sent.
struct event_link_message_t {
    uint8_t cmd_set;
    uint8_t cmd_id;
    uint16_t device;
    const char* data;  // may be null when data_length is 0
    uint32_t data_length;
};

// Sends without waiting. -22 for more than 1008 bytes; otherwise 0, also when the bus refuses the record (logged).
// Any thread; no heap.
flight_result_t event_link_send(event_link_t& link, const char* tag, const event_link_message_t& message,
                                uint16_t attrib);

// Sends and waits up to `timeout_us` for the reply, whose payload (up to 1008 bytes) goes to `ack_data` and its length
// to `ack_size`, if both are given. -22 as above; -10001 without an answer, with `ack_size` 0. Any thread but the
// client's own task.
flight_result_t event_link_send_sync(event_link_t& link, const char* tag, const event_link_message_t& message,
                                     uint32_t timeout_us, char* ack_data, size_t* ack_size);

// Replies with a return-code byte of the platform before the data. Nothing happens without a record.
void event_link_ack(event_link_t& link, const flight_v1_pack_t* pack, const char* data, size_t len);

// Replies with the data as it is. Nothing happens without a record.
void event_link_ack_without_retcode(event_link_t& link, const flight_v1_pack_t* pack, const char* data, size_t len);
