// Holds the motors back while an app replaces the database: registers an error with the flight controller and sets or
// clears it, twice a second.
#pragma once

#include <cstdint>

#include "common/flight_result.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_wire.h"

// Entry request: remembers whether the app (high byte of the address 2) asked for the upgrade; only then are the
// motors held. Upgrade client task.
void check_set_is_app_req_upgrade(uint16_t sender);

flight_result_t regist_motor_error_code();

// `status` is MOTOR_DISABLE or MOTOR_ENABLE.
flight_result_t set_motor_status(uint8_t status);
flight_result_t disable_motor();
flight_result_t enable_motor();

// What the flight controller answered to the registration. Upgrade client task.
void set_regist_motor_error_success();
void set_regist_motor_error_fail();
void set_requester_id(uint32_t id);
void set_motor_ext_err_code(uint8_t code);

// True in the states INIT to FAIL.
bool upgrade_need_disable_motor();

// Upgrade timer, every 0.5 s.
void upgrade_control_motor();
