// The transfer of a temporary-restriction file from the app: start, numbered fragments, finish. Flight client task.
#pragma once

#include "flight_v1/flight_v1_pack.h"
#include "nfz_tfr/tfr_module/src/tfr_wire.h"

// (0x03, 0xcd). Always replies with the whole 18-byte record; 0 only when there is no room for it. May block on the
// disk; no heap.
size_t nfz_tfr_update(flight_v1_pack_t* pack_info, char* ack_buf, size_t ack_buf_len);

// The reply to one request. A request without a type byte, or a fragment with less data than it says, changes nothing.
update_tfr_rsp_t packet_solve(const flight_v1_pack_t* pack_info);

// Replies the uid of the stored file, so that the app can see whether it is there already. Aborts a transfer under way,
// then without a uid. The file stays.
update_tfr_rsp_t require_start(const flight_v1_pack_t* pack_info);

// Appends one fragment; one in idle, or with number 0, first empties the file. Replies the number to go on with.
update_tfr_rsp_t data_transfer(const flight_v1_pack_t* pack_info);

// Judges what was transferred. Any refusal, also of a finish that came too early, empties the file.
update_tfr_rsp_t require_finish(const flight_v1_pack_t* pack_info);
