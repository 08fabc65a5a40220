// The flight client: endpoint "flight_srv_fmu". Version query, flight-controller data; sends what the modules send to
// the flight controller. See event_link.h for results and threads.
#pragma once

#include "common/flight_result.h"
#include "flight_v1/flight_v1_pack.h"

flight_result_t flight_v1_init();
flight_result_t flight_event_init();

// Returns 0. The rows are not copied.
int flight_add_cmd_map_table(const flight_map_table_t* table, uint32_t size);

flight_result_t flight_v1_send(uint8_t cmd_set, uint8_t cmd_id, uint16_t device, const char* data,
                               uint32_t data_length);

// `ack_data` must have room for 1008 bytes.
flight_result_t flight_v1_send_sync(uint8_t cmd_set, uint8_t cmd_id, uint16_t device, const char* data,
                                    uint32_t data_length, uint32_t timeout_us, char* ack_data, size_t* ack_size);

int flight_v1_ack(flight_v1_pack_t* pack, const char* data, size_t len);
int flight_v1_ack_whitout_retcode(flight_v1_pack_t* pack, const char* data, size_t len);

kest_result_t req_cb(kest_event_client_t client, const kest_event_t* event, void* userdata);
flight_handle_t get_handle(uint8_t cmd_set, uint8_t cmd_id);
void kest_event2flight_pack(const kest_event_t* event, flight_v1_pack_t* pack);
