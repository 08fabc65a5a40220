// Sending records, waiting for replies, and replying.
#include <cerrno>
#include <cstring>

#include "event_client.h"
#include "record.h"

namespace {

using tarn::record_head;

uint32_t counter_of(int result)
{
    switch (result) {
        case 0:
            return TARN_SENT;
        case -EHOSTUNREACH:
            return TARN_SEND_NO_ROUTE;
        case -ENOENT:
        case -ECONNREFUSED:
            return TARN_SEND_PEER_ABSENT;
        case -EAGAIN:
            return TARN_SEND_QUEUE_FULL;
        default:
            return TARN_SEND_FAILED;
    }
}

int send_record(kest_event_client& client, record_head head, const void* payload)
{
    const tarn_tap_head_t about{client.tap.time_us(), client.host, head.peer_host, tarn::TAP_SENT, {}};
    iovec parts[2] = {{&head, sizeof head}, {const_cast<void*>(payload), head.msg_len}};
    msghdr record{};
    record.msg_iov = parts;
    record.msg_iovlen = 2;
    const int result = client.outgoing.send(head.peer_host, record, client.counts);
    client.counts.add(counter_of(result));
    if (result == 0) client.tap.copy(about, parts[0], parts[1], client.counts);
    return result;
}

int refuse(kest_event_client* client)
{
    if (client != nullptr) client->counts.add(TARN_SEND_FAILED);
    return -EINVAL;
}

// The request's head turned around.
record_head head_of_reply(const kest_event_t& request, uint32_t msg_len)
{
    const auto attrib = static_cast<uint16_t>((request.attrib & ~tarn::ATTRIB_NEED_ACK) | tarn::ATTRIB_IS_REPLY);
    return {request.msg_id, request.peer_host, attrib, request.seq_id, 0, msg_len};
}

bool is_own_task(const kest_event_client& client)
{
    return pthread_equal(client.task, pthread_self()) != 0;
}

}  // namespace

kest_result_t kest_event_send(kest_event_client_t client, const kest_event_t* event)
{
    if (client == nullptr || event == nullptr || event->msg_len > KEST_EVENT_MAX_PAYLOAD) return refuse(client);
    return send_record(*client, {event->msg_id, event->peer_host, event->attrib, event->seq_id, 0, event->msg_len},
                       event->msg_buf);
}

kest_result_t kest_event_send_sync(kest_event_client_t client, const kest_event_t* event, uint32_t timeout_us,
                                   kest_event_t* reply, uint32_t* reply_size)
{
    if (client == nullptr || event == nullptr || reply == nullptr || reply_size == nullptr) return refuse(client);
    if (is_own_task(*client)) return -EDEADLK;
    tarn::waiting_send caller{};
    caller.peer = event->peer_host;
    caller.msg_id = event->msg_id;
    caller.seq_id = event->seq_id;
    caller.reply = reply;
    caller.reply_size = *reply_size;
    caller.result = -ETIMEDOUT;
    client->waiting.add(caller);
    const int sent = kest_event_send(client, event);
    if (sent != 0) {
        client->waiting.remove(caller);
        return sent;
    }
    const kest_result_t result = client->waiting.wait(caller, timeout_us);
    if (result == 0) *reply_size = caller.reply_size;
    return result;
}

kest_result_t kest_event_resp_data(kest_event_client_t client, const kest_event_t* request, const void* data,
                                   uint32_t data_len)
{
    uint8_t payload[KEST_EVENT_MAX_PAYLOAD] = {};  // the first byte is the return code
    if (client == nullptr || request == nullptr || data_len >= sizeof payload || (data == nullptr && data_len != 0))
        return refuse(client);
    if (data_len != 0) std::memcpy(payload + 1, data, data_len);
    return send_record(*client, head_of_reply(*request, data_len + 1), payload);
}

kest_result_t kest_event_resp_data_without_retcode(kest_event_client_t client, const kest_event_t* request,
                                                   const void* data, uint32_t data_len)
{
    if (client == nullptr || request == nullptr || data_len > KEST_EVENT_MAX_PAYLOAD ||
        (data == nullptr && data_len != 0))
        return refuse(client);
    return send_record(*client, head_of_reply(*request, data_len), data);
}
