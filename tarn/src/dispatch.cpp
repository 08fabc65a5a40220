// From a received record to whoever wants it.
#include "event_client.h"
#include "record.h"

namespace tarn {
namespace {

void copy_to_tap(kest_event_client& client, const kest_event_t& event)
{
    const tarn_tap_head_t about{client.tap.time_us(), event.peer_host, client.host, TAP_RECEIVED, {}};
    auto* bytes = const_cast<kest_event_t*>(&event);
    client.tap.copy(about, {bytes, KEST_EVENT_HEAD_SIZE + event.msg_len}, {}, client.counts);
}

// The counter to add to when the record goes to a callback, or TARN_DROPPED_* and no callback.
uint32_t find_callback(const kest_event_client& client, const kest_event_t& event, kest_event_cb_t& callback)
{
    const uint32_t set = event.msg_id >> 16;
    const uint32_t id = event.msg_id & 0xffff;
    if (set >= KEST_EVENT_SETS) return TARN_DROPPED_SET;
    if (client.tables[set] == nullptr || id >= client.table_sizes[set]) return TARN_DROPPED_ID;
    const kest_event_cmd_desc_t& descriptor = client.tables[set][id];
    callback = (event.attrib & ATTRIB_IS_REPLY) != 0 ? descriptor.reply_cb : descriptor.request_cb;
    return callback != nullptr ? TARN_RECEIVED : TARN_DROPPED_ID;
}

}  // namespace

void dispatch(kest_event_client& client, const kest_event_t& event)
{
    copy_to_tap(client, event);
    if ((event.attrib & ATTRIB_IS_REPLY) != 0 && client.waiting.answer(event, client.counts)) return;
    kest_event_cb_t callback = nullptr;
    client.counts.add(find_callback(client, event, callback));
    if (callback != nullptr) callback(&client, &event, client.userdata);
}

}  // namespace tarn
