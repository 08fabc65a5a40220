// Subscription to the flight controller's data bag, and the decoding of its pushes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/flight_result.h"
#include "dbi/db_bag_wire.h"
#include "flight_v1/flight_v1_pack.h"

inline constexpr uint8_t DB_BAG_SLOTS = 2;

struct db_sub_t {
    uint32_t freq;             // pushes a second
    const uint32_t* uid_list;  // data items in packing order
    uint8_t uid_num;           // 0: slot not used
    uint8_t* data;             // where a push goes
    uint32_t data_len;         // bytes taken from each push
};

// The table of DB_BAG_SLOTS subscriptions; valid for the life of the process.
const db_sub_t* get_db_info();

// The last push as it came. Flight client task only.
const db_bag1_t* get_db_bag1();

// Bag requests to the flight controller, sent without waiting. Results of flight_v1_send; add refuses more than 62
// uids with -22.
flight_result_t fc_v1_db_bag_reset();
flight_result_t fc_v1_db_bag_add(uint8_t index, uint16_t frequence, uint8_t data_num, const uint32_t* data_uid);
flight_result_t fc_v1_db_bag_delete(uint8_t index);
flight_result_t fc_v1_db_bag_update_freq(uint8_t index, uint16_t frequence);

// Resets the flight controller's subscriptions and adds ours. 0 once the reset went out, else its failure.
flight_result_t fc_db_init();

// Handler of a push: bag index, then the bag. Anything that does not hold the whole bag is dropped whole. Returns 0.
size_t fc_event_cb_receive_fmu(flight_v1_pack_t* pack_info, char* buf, size_t ack_buf_len);

// Process time of the last decoded push, ms; 0 before the first. Any thread.
uint32_t db_get_last_update_time_ms();

// Seconds since 1970 of a date YYYYMMDD and a time HHMMSS, taken as local time (the aircraft runs in UTC); a zero date
// is passed through the calendar like any other.
uint32_t gps_date_to_linux_timestamp(uint32_t date, uint32_t time);

// Debug console entry: the next push is printed on standard output. Any thread.
int print_db_once(int argc, char** argv);
void check_print_db(const db_bag1_t* db);
