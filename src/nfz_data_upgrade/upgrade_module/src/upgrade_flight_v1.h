// The upgrade client: endpoint "flight_nfz_upgrade". Database upgrade and reads. See event_link.h for results and
// threads.
#pragma once

#include "common/flight_result.h"
#include "flight_v1/flight_v1_pack.h"

flight_result_t upgrade_flight_v1_init();
flight_result_t upgrade_flight_event_init();

// Returns 0. The rows are not copied.
int upgrade_flight_add_cmd_map_table(const flight_map_table_t* table, uint32_t size);

flight_result_t upgrade_flight_v1_send(uint8_t cmd_set, uint8_t cmd_id, uint16_t device, const char* data,
                                       uint32_t data_length);

// Asks for an answer without waiting for it: it comes back through the command table.
flight_result_t upgrade_flight_v1_send_need_ack(uint8_t cmd_set, uint8_t cmd_id, uint16_t device, const char* data,
                                                uint32_t data_length);

int upgrade_flight_v1_ack(flight_v1_pack_t* pack, const char* data, size_t len);
int upgrade_flight_v1_ack_whitout_retcode(flight_v1_pack_t* pack, const char* data, size_t len);

kest_result_t upgrade_req_cb(kest_event_client_t client, const kest_event_t* event, void* userdata);
flight_handle_t upgrade_get_handle(uint8_t cmd_set, uint8_t cmd_id);
void upgrade_kest_event2flight_pack(const kest_event_t* event, flight_v1_pack_t* pack);
