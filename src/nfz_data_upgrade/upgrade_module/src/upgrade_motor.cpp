#include "nfz_data_upgrade/upgrade_module/src/upgrade_motor.h"

#include <cstring>

#include "common/shared_word.h"
#include "flight_v1/flight_v1_wire.h"
#include "nfz_data_upgrade/upgrade_debugger/src/upgrade_debugger.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_flight_v1.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_session.h"

static constexpr uint8_t DEVICE_KIND_APP = HOST_APP >> 8;
static constexpr uint8_t IDENTITY_ID = 0x5F;
static constexpr uint16_t LINK_TIMEOUT_MS = 5000;

// Upgrade client task writes, upgrade timer reads.
static shared_word<bool> is_app_req_upgrade;
static shared_word<bool> regist_motor_error_code_success;
static shared_word<uint32_t> requester_id;
static shared_word<uint8_t> motor_ext_err_code;

void check_set_is_app_req_upgrade(uint16_t sender)
{
    is_app_req_upgrade = sender >> 8 == DEVICE_KIND_APP;
    nfz_upgrade_log("check_set_is_app_req_upgrade", "is_app_req_upgrade:%d", is_app_req_upgrade ? 1 : 0);
}

void set_regist_motor_error_success()
{
    regist_motor_error_code_success = true;
}

void set_regist_motor_error_fail()
{
    regist_motor_error_code_success = false;
}

void set_requester_id(uint32_t id)
{
    requester_id = id;
}

void set_motor_ext_err_code(uint8_t code)
{
    motor_ext_err_code = code;
}

template <typename T>
static flight_result_t send_to_flight_controller(uint8_t cmd_id, const T& request)
{
    char payload[sizeof request];
    std::memcpy(payload, &request, sizeof request);
    return upgrade_flight_v1_send_need_ack(SET_FLIGHT_CONTROLLER, cmd_id, HOST_FLIGHT_CONTROLLER, payload,
                                           sizeof payload);
}

flight_result_t regist_motor_error_code()
{
    vela_fc_set_register_motor_ext_err_req request = {};
    request.need_generate_request_id = 1;
    request.identity_id = IDENTITY_ID;
    request.link_timeout = LINK_TIMEOUT_MS;
    std::strncpy(request.err_description, "nfz_upgrading", sizeof request.err_description);
    return send_to_flight_controller(ID_REGISTER_MOTOR_ERR, request);
}

flight_result_t set_motor_status(uint8_t status)
{
    vela_fc_set_set_motor_ext_err_req request = {};
    request.motor_ext_err_num = 1;
    request.requester_id = requester_id;
    request.motor_ext_err_status[0] = {motor_ext_err_code, status};
    return send_to_flight_controller(ID_SET_MOTOR_ERR, request);
}

flight_result_t disable_motor()
{
    return set_motor_status(MOTOR_DISABLE);
}

flight_result_t enable_motor()
{
    return set_motor_status(MOTOR_ENABLE);
}

bool upgrade_need_disable_motor()
{
    const upgrade_state_t state = upgrade_get_state(get_upgrade_desc());
    return state >= UPGRADE_STATE_INIT && state <= UPGRADE_STATE_FAIL;
}

void upgrade_control_motor()
{
    if (!upgrade_need_disable_motor()) {
        if (regist_motor_error_code_success) enable_motor();
        return;
    }
    if (!is_app_req_upgrade) return;
    if (!regist_motor_error_code_success) regist_motor_error_code();
    disable_motor();
}
