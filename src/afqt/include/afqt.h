// The automated flight quality test: starts when its marker file exists, then flies motion lists on the station's
// command.
#pragma once

#include "common/flight_result.h"
#include "flight_v1/flight_v1_pack.h"

// Log, main machine, 20 ms timer. 0, or -10001 when there is no timer: the test then never moves. Main thread, once.
flight_result_t afqt_init();

// The tick.
void fc_afqt_timer_handler(void* param);

// (0x22, 0x48) On and off from the station: leaves the command and the motion list's number for the next tick. No reply
// data. Flight client task.
size_t afqt_on_off_cmd(flight_v1_pack_t* pack_info, char* ack_buf, size_t ack_buf_len);
