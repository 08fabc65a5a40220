// The flight-controller data that the other modules read.
#pragma once

#include <cstdint>

#include "common/shared_word.h"

enum _drone_state : uint32_t {
    DRONE_MOTOR_OFF = 0,
    DRONE_ON_GND = 1,
    DRONE_IN_AIR = 2,
};

// The flight client's task writes, word by word, at every push; any thread reads. A reader may see words of two
// consecutive pushes mixed. Zero before the first push; afterwards the last values stay, however old.
struct __fc_global_desc {
    shared_word<double> drone_gps[2];     // latitude, longitude, radians
    shared_word<float> altitude;          // metres
    shared_word<uint8_t> gps_ctrl_level;  // 3 and above: a usable fix
    shared_word<uint32_t> app_unix_timestamp;
    shared_word<double> app_gps[2];  // the phone's latitude, longitude, radians
    shared_word<uint8_t> app_gps_valid;
    shared_word<uint32_t> gps_unix_timestamp;
    shared_word<uint8_t> display_mode;
    shared_word<_drone_state> drone_fsm;
    shared_word<float> atti_gnd[3];  // roll, pitch, yaw, degrees
};
using flight_global_db_t = __fc_global_desc;

// Valid for the life of the process.
flight_global_db_t* flight_get_db();

// 1 on ground, 2 in air, everything else motors off.
_drone_state fc_fsm2drone_fsm(uint8_t fsm);
