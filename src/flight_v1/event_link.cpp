#include "flight_v1/event_link.h"

#include <cstring>

#include "flight_log/flight_log.h"
#include "flight_v1/flight_v1_wire.h"

static constexpr const char* ROUTE_CONFIG = "/usr/local/tarn/vela.json";
static constexpr const char* SERVICE = "flight_service";

static flight_result_t create_and_start(event_link_t& link, const kest_mb_route_table_t& route, uint16_t host_id)
{
    // Every command set uses the one table: a handler is found by the service's own command table, not by the platform.
    const kest_event_cmd_desc_t* tables[KEST_EVENT_SETS];
    uint32_t counts[KEST_EVENT_SETS];
    for (uint32_t set = 0; set < KEST_EVENT_SETS; ++set) {
        tables[set] = link.event_table;
        counts[set] = EVENT_LINK_IDS;
    }
    kest_result_t result = kest_event_create_client(&route, host_id, tables, counts, nullptr, &link.client);
    if (result != 0) {
        flight_log(link.init_tag, "%sfc_fmu kest_event_create_client() error: %d\n", link.text_prefix, result);
        return result;
    }
    result = kest_event_start_client(link.client);
    if (result != 0) {
        flight_log(link.init_tag, "%sfc_fmu kest_event_start_client() error: %d\n", link.text_prefix, result);
    }
    return result;
}

flight_result_t event_link_init(event_link_t& link)
{
    // Replies go the same way as requests: an answer to a need-ack message finds its handler in the command table.
    for (kest_event_cmd_desc_t& entry : link.event_table)
        entry = {link.callback, link.callback, link.event_flags};

    uint16_t host_id = 0;
    kest_mb_route_table_t route = {};
    const kest_result_t result = kest_mb_create_route_table(ROUTE_CONFIG, SERVICE, link.endpoint, &host_id, &route);
    if (result != 0) {
        flight_log(link.init_tag, "%s fc_fmu route table fail! result=0x%x\n", link.route_failed,
                   static_cast<unsigned>(result));
        return FLIGHT_ERR_RESOURCE;
    }
    if (link.logs_success) {
        flight_log(link.init_tag, "%screate fc_fmu route table success! result=0x%02x %d\n", link.text_prefix,
                   static_cast<unsigned>(result), route.target_size);
    }

    if (create_and_start(link, route, host_id) != 0) {
        flight_log(link.init_tag, "%screate event fail!\n", link.text_prefix);
    } else if (link.logs_success) {
        flight_log(link.init_tag, "%screate event success obj:0x%04x\n", link.text_prefix,
                   static_cast<unsigned>(reinterpret_cast<uintptr_t>(link.client)));
    }
    kest_mb_destroy_route_table(&route);
    return FLIGHT_OK;
}

void event_link_set_table(event_link_t& link, const flight_map_table_t* table, uint32_t size)
{
    // The client may be running: a reader that sees the new size sees the new table.
    link.table_size = 0;
    link.table = table;
    link.table_size = table == nullptr ? 0 : size;
}

flight_handle_t event_link_get_handle(const event_link_t& link, uint8_t cmd_set, uint8_t cmd_id)
{
    const uint32_t size = link.table_size;
    const flight_map_table_t* table = link.table;
    flight_handle_t handle = nullptr;
    // No early exit: of several rows for one command the last one holds.
    for (uint32_t i = 0; i < size; ++i) {
        if (table[i].cmd_set == cmd_set && table[i].cmd_id == cmd_id) handle = table[i].handle;
    }
    return handle;
}

void event_link_unpack(const kest_event_t* event, flight_v1_pack_t* pack)
{
    // A length that the record cannot hold is not believed, whatever platform handed it over.
    const uint32_t length = event->msg_len <= KEST_EVENT_MAX_PAYLOAD ? event->msg_len : 0;
    pack->sender = event->peer_host;
    pack->receiver = HOST_FLIGHT_SERVICE;
    pack->cmd_set = static_cast<uint8_t>(event->msg_id >> 16);
    pack->cmd_id = static_cast<uint8_t>(event->msg_id);
    pack->seq_num = event->seq_id;
    pack->p_data = event->msg_buf;
    pack->data_len = static_cast<uint16_t>(length);
    pack->enc_type = static_cast<uint8_t>(event->attrib & ATTRIB_ENC_TYPE_MASK);
    pack->need_ack = static_cast<uint8_t>((event->attrib >> ATTRIB_NEED_ACK_SHIFT) & ATTRIB_NEED_ACK_MASK);
    pack->is_ack_pack = (event->attrib & ATTRIB_REPLY) != 0 ? 1 : 0;
    pack->event = event;
}

kest_result_t event_link_receive(event_link_t& link, const kest_event_t* event)
{
    char ack_buf[FLIGHT_ACK_BUF_SIZE] = {};
    size_t ack_len = 0;
    flight_v1_pack_t pack;
    event_link_unpack(event, &pack);

    const flight_handle_t handle = event_link_get_handle(link, pack.cmd_set, pack.cmd_id);
    if (handle == nullptr) {
        ack_buf[0] = static_cast<char>(REPLY_UNKNOWN_COMMAND);
        ack_len = 1;
    } else {
        ack_len = handle(&pack, ack_buf, sizeof ack_buf);
    }
    if (pack.need_ack != 0 && ack_len != 0) event_link_ack_without_retcode(link, &pack, ack_buf, ack_len);
    return 0;
}

static bool too_big(const event_link_t& link, const char* tag, uint32_t data_length)
{
    if (data_length <= KEST_EVENT_MAX_PAYLOAD) return false;
    flight_log(tag, "%stoo big payload for V1 command: %d bytes\n", link.text_prefix, static_cast<int>(data_length));
    return true;
}

static void build_record(event_link_t& link, const event_link_message_t& message, uint16_t attrib, kest_event_t* event)
{
    std::memset(event, 0, sizeof *event);
    event->msg_id = static_cast<uint32_t>(message.cmd_set) << 16 | message.cmd_id;
    event->peer_host = message.device;
    event->attrib = attrib;
    event->seq_id = link.seq_id.fetch_add(1, std::memory_order_relaxed);
    event->msg_len = message.data_length;
    if (message.data != nullptr) std::memcpy(event->msg_buf, message.data, message.data_length);
}

flight_result_t event_link_send(event_link_t& link, const char* tag, const event_link_message_t& message,
                                uint16_t attrib)
{
    if (too_big(link, tag, message.data_length)) return FLIGHT_ERR_TOO_BIG;
    kest_event_t event;
    build_record(link, message, attrib, &event);
    const kest_result_t result = kest_event_send(link.client, &event);
    if (result != 0) {
        flight_log(tag, "%skest_event_send() err:%d |set:0x%02x|id:0x%02x|rec:0x%02x \n", link.text_prefix, result,
                   message.cmd_set, message.cmd_id, message.device >> 8);
    }
    return FLIGHT_OK;
}

flight_result_t event_link_send_sync(event_link_t& link, const char* tag, const event_link_message_t& message,
                                     uint32_t timeout_us, char* ack_data, size_t* ack_size)
{
    if (too_big(link, tag, message.data_length)) return FLIGHT_ERR_TOO_BIG;
    kest_event_t event;
    build_record(link, message, ATTRIB_SEND_SYNC, &event);

    kest_event_t reply = {};
    uint32_t reply_size = sizeof reply;
    const kest_result_t result = kest_event_send_sync(link.client, &event, timeout_us, &reply, &reply_size);
    if (result != 0) {
        if (ack_size != nullptr) *ack_size = 0;
        flight_log(tag, "%skest_event_send() err:%d |set:0x%02x|id:0x%02x|rec:0x%02x ", link.text_prefix, result,
                   message.cmd_set, message.cmd_id, message.device >> 8);
        return FLIGHT_ERR_RESOURCE;
    }
    if (ack_data != nullptr && ack_size != nullptr) {
        const size_t length = reply.msg_len <= KEST_EVENT_MAX_PAYLOAD ? reply.msg_len : 0;
        std::memcpy(ack_data, reply.msg_buf, length);
        *ack_size = length;
    }
    return FLIGHT_OK;
}

void event_link_ack(event_link_t& link, const flight_v1_pack_t* pack, const char* data, size_t len)
{
    if (pack->event == nullptr) return;
    kest_event_resp_data(link.client, pack->event, data, static_cast<uint32_t>(len));
}

void event_link_ack_without_retcode(event_link_t& link, const flight_v1_pack_t* pack, const char* data, size_t len)
{
    if (pack->event == nullptr) return;
    kest_event_resp_data_without_retcode(link.client, pack->event, data, static_cast<uint32_t>(len));
}
