// What the host build of the platform has beyond the kest_* operations: taking clients and timers down again, the
// counters, and the layout of the tap. Peers, tools and tests use it; the service does not.
#ifndef TARN_HOST_H
#define TARN_HOST_H

#include "kest_event.h"
#include "kest_types.h"

#ifdef __cplusplus
extern "C" {
#endif

// Stops the client's task, closes its sockets and frees it. Not on its own task. Null is allowed.
void tarn_client_close(kest_event_client_t client);

// Ends a timer after a running callback has returned, and frees it. Not in its own callback. Null is allowed.
void tarn_timer_close(void* timer);

// Counters of one endpoint. Each record that is not delivered counts in exactly one of those from
// TARN_SEND_NO_ROUTE on.
enum {
    TARN_SENT,                // records the kernel took
    TARN_RECEIVED,            // records that reached a callback or a waiting send
    TARN_CONNECTS_IN,         // connections accepted
    TARN_CONNECTS_OUT,        // connections made
    TARN_SEND_NO_ROUTE,       // sending: address not in the route configuration
    TARN_SEND_PEER_ABSENT,    // sending: nobody listens there
    TARN_SEND_QUEUE_FULL,     // sending: the receiver does not keep up
    TARN_SEND_FAILED,         // sending: any other refusal, over-long records included
    TARN_CLOSED_SHORT,        // connection closed: record under 16 bytes
    TARN_CLOSED_LONG,         // connection closed: record over 1024 bytes
    TARN_CLOSED_LENGTH,       // connection closed: msg_len is not what came
    TARN_CLOSED_BAD_HELLO,    // connection closed: first record is no hello
    TARN_CLOSED_NOT_ALLOWED,  // connection closed: address not granted to this user
    TARN_DROPPED_SET,         // received: set 79 or above
    TARN_DROPPED_ID,          // received: no descriptor or callback for the id
    TARN_TAP_DROPPED,         // copies the tap did not take
    TARN_COUNTERS,
};

// Short name of a counter for people and JSON, for example "send_no_route"; null from TARN_COUNTERS on.
const char* tarn_counter_name(uint32_t counter);

// The file "<bus_dir>/<address as four hex digits>.stats": kept up to date by the endpoint's process, mapped by
// readers, left behind when the process dies.
typedef struct tarn_stats_file {
    char magic[8];  // "TARNSTA1"
    uint32_t pid;   // the process that has, or had, the address
    uint16_t host;
    uint16_t counters;  // TARN_COUNTERS of the writer; a reader shows what it knows
    uint64_t value[TARN_COUNTERS];
} tarn_stats_file_t;

// Before each record on the tap socket.
#pragma pack(push, 1)
typedef struct tarn_tap_head {
    uint64_t boot_time_us;
    uint16_t from;
    uint16_t to;
    uint8_t direction;  // 0 sent, 1 received
    uint8_t zero[3];
} tarn_tap_head_t;
#pragma pack(pop)

#ifdef __cplusplus
}
#endif
#endif
