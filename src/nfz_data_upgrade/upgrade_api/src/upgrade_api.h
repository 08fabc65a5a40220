// Handlers of the upgrade client's commands, one file each. They run on the upgrade client's task; each reply has a
// fixed length, also for refusals, and its first byte is the result code (upgrade_wire.h).
#pragma once

#include <cstddef>

#include "flight_v1/flight_v1_pack.h"

// Queries: the payload is not read.
size_t nfz_upgrade_get_version(flight_v1_pack_t* pack, char* ack_buf, size_t ack_buf_len);
size_t nfz_upgrade_get_device_state(flight_v1_pack_t* pack, char* ack_buf, size_t ack_buf_len);

// Nothing is rebooted: a new database is used as soon as it is verified.
size_t nfz_upgrade_reboot(flight_v1_pack_t* pack, char* ack_buf, size_t ack_buf_len);

// The upgrade, in this order. Each restarts the 20 s of silence, also when refused.
// Entry is taken in any state and abandons an upgrade in progress, whose piece stays in the file.
size_t nfz_upgrade_entry(flight_v1_pack_t* pack, char* ack_buf, size_t ack_buf_len);
size_t nfz_upgrade_start(flight_v1_pack_t* pack, char* ack_buf, size_t ack_buf_len);
// The reply names the last block written: an app resumes behind it.
size_t nfz_upgrade_data(flight_v1_pack_t* pack, char* ack_buf, size_t ack_buf_len);
// Whatever it refuses destroys the upgrade: the file is emptied and the motors stay held until the next success.
size_t nfz_upgrade_end(flight_v1_pack_t* pack, char* ack_buf, size_t ack_buf_len);

// Serves up to 270 bytes of the database to the flight controller, never while it is being written.
size_t nfz_upgrade_profile(flight_v1_pack_t* pack, char* ack_buf, size_t ack_buf_len);

// The flight controller's answer to the motor registration. Never replies.
size_t nfz_upgrade_motor_regist_result(flight_v1_pack_t* pack, char* ack_buf, size_t ack_buf_len);
