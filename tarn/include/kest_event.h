// Event clients: an endpoint of the message bus with its own callback task.
#ifndef KEST_EVENT_H
#define KEST_EVENT_H

#include "kest_mb.h"
#include "kest_types.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    KEST_EVENT_SIZE = 1024,         // a whole record
    KEST_EVENT_HEAD_SIZE = 16,      // bytes before the payload
    KEST_EVENT_MAX_PAYLOAD = 1008,  // KEST_EVENT_SIZE - KEST_EVENT_HEAD_SIZE
    KEST_EVENT_SETS = 79,           // command sets 0 to 78 can be received
};

// One record, exactly 1024 bytes, little-endian. On the wire only the head and `msg_len` payload bytes travel.
typedef struct kest_event {
    uint32_t msg_id;     // command set << 16 | command id
    uint16_t peer_host;  // sending: the receiver's bus address; in a callback: the sender's
    uint16_t attrib;     // bits 0-3 encryption type, 5-6 need-ack (0: no reply wanted), 7 is-reply
    uint16_t seq_id;     // chosen by the sender; a reply repeats the request's
    uint16_t reserved;   // zero
    uint32_t msg_len;    // payload bytes, at most 1008
    uint8_t msg_buf[KEST_EVENT_MAX_PAYLOAD];
} kest_event_t;

typedef struct kest_event_client* kest_event_client_t;

// Runs on the client's own task. `event` is valid during the call only; the bytes of msg_buf behind msg_len are zero.
typedef kest_result_t (*kest_event_cb_t)(kest_event_client_t client, const kest_event_t* event, void* userdata);

// What happens with one command id of one set. A null callback drops the record (counted).
typedef struct kest_event_cmd_desc {
    kest_event_cb_t request_cb;
    kest_event_cb_t reply_cb;  // replies that no kest_event_send_sync waits for
    uint32_t flags;
} kest_event_cmd_desc_t;

// Makes the endpoint `host_id` known on the bus: from here on others can connect, and their records wait until the
// client is started. `tables[s]` points to `counts[s]` descriptors of set s, indexed by command id; the descriptors
// must outlive the client, the two arrays need not. -EADDRINUSE when a living process has the address, -EINVAL for null
// arguments, otherwise the negative errno of the failing call.
kest_result_t kest_event_create_client(const kest_mb_route_table_t* table, uint16_t host_id,
                                       const kest_event_cmd_desc_t* const tables[KEST_EVENT_SETS],
                                       const uint32_t counts[KEST_EVENT_SETS], void* userdata,
                                       kest_event_client_t* client);

// Starts the client's task. -EALREADY when it runs, -EAGAIN when the system refuses the thread.
kest_result_t kest_event_start_client(kest_event_client_t client);

// Hands the record to the bus without waiting. 0 when it was taken; -EINVAL (null, msg_len over 1008), -EHOSTUNREACH
// (no route to peer_host), -ENOENT or -ECONNREFUSED (nobody listens there), -EAGAIN (the receiver's queue is full).
// Any thread, callbacks included; no heap once the connection stands.
kest_result_t kest_event_send(kest_event_client_t client, const kest_event_t* event);

// Sends and waits for the reply (same peer, msg_id and seq_id, reply bit set). `reply_size`: in the room at `reply`,
// out the bytes written there (head and payload). -ETIMEDOUT; -EDEADLK on the client's own task, where the reply could
// never be read; -EMSGSIZE (no room; nothing written); otherwise as kest_event_send. The time-out is real time, also
// when TARN_TIME_SCALE is set.
kest_result_t kest_event_send_sync(kest_event_client_t client, const kest_event_t* event, uint32_t timeout_us,
                                   kest_event_t* reply, uint32_t* reply_size);

// Replies to `request` with a zero return-code byte followed by `data` (at most 1007 bytes).
kest_result_t kest_event_resp_data(kest_event_client_t client, const kest_event_t* request, const void* data,
                                   uint32_t data_len);

// Replies to `request` with `data` unchanged (at most 1008 bytes). Results as kest_event_send.
kest_result_t kest_event_resp_data_without_retcode(kest_event_client_t client, const kest_event_t* request,
                                                   const void* data, uint32_t data_len);

#ifdef __cplusplus
}
#endif
#endif
