#include "nfz_data_upgrade/upgrade_module/src/upgrade_flight_v1.h"

#include "flight_v1/event_link.h"
#include "flight_v1/flight_v1_wire.h"

static event_link_t s_link = {
    .endpoint = "flight_nfz_upgrade",
    .event_flags = 1,
    .callback = upgrade_req_cb,
    .init_tag = "upgrade_flight_event_init",
    .route_failed = "upgrade create",
    .text_prefix = "upgrade ",
    .logs_success = true,
};

flight_result_t upgrade_flight_v1_init()
{
    return upgrade_flight_event_init();
}

flight_result_t upgrade_flight_event_init()
{
    return event_link_init(s_link);
}

int upgrade_flight_add_cmd_map_table(const flight_map_table_t* table, uint32_t size)
{
    event_link_set_table(s_link, table, size);
    return 0;
}

flight_result_t upgrade_flight_v1_send(uint8_t cmd_set, uint8_t cmd_id, uint16_t device, const char* data,
                                       uint32_t data_length)
{
    return event_link_send(s_link, "upgrade_flight_v1_send", {cmd_set, cmd_id, device, data, data_length}, ATTRIB_SEND);
}

flight_result_t upgrade_flight_v1_send_need_ack(uint8_t cmd_set, uint8_t cmd_id, uint16_t device, const char* data,
                                                uint32_t data_length)
{
    return event_link_send(s_link, "upgrade_flight_v1_send_need_ack", {cmd_set, cmd_id, device, data, data_length},
                           ATTRIB_SEND_NEED_ACK);
}

int upgrade_flight_v1_ack(flight_v1_pack_t* pack, const char* data, size_t len)
{
    event_link_ack(s_link, pack, data, len);
    return 0;
}

int upgrade_flight_v1_ack_whitout_retcode(flight_v1_pack_t* pack, const char* data, size_t len)
{
    event_link_ack_without_retcode(s_link, pack, data, len);
    return 0;
}

kest_result_t upgrade_req_cb(kest_event_client_t, const kest_event_t* event, void*)
{
    return event_link_receive(s_link, event);
}

flight_handle_t upgrade_get_handle(uint8_t cmd_set, uint8_t cmd_id)
{
    return event_link_get_handle(s_link, cmd_set, cmd_id);
}

void upgrade_kest_event2flight_pack(const kest_event_t* event, flight_v1_pack_t* pack)
{
    event_link_unpack(event, pack);
}
