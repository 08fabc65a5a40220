// The questions that wait for the flight controller's answer.
#include <cstdio>
#include <cstring>

#include "afqt/include/afqt_send.h"
#include "afqt/include/afqt_wire.h"
#include "flight_v1/flight_v1.h"
#include "flight_v1/flight_v1_wire.h"

static constexpr uint32_t ANSWER_TIMEOUT_US = 5000;
static constexpr size_t ANSWER_SIZE = 1008;       // what the link may write
static constexpr size_t FIRMWARE_TEXT_SIZE = 16;  // 255.255.255.255 and its end

// Takes the fields that are known from an answer; a shorter answer counts as none.
template <typename T>
static flight_result_t ask(uint8_t cmd_set, uint8_t cmd_id, T& answer)
{
    char received[ANSWER_SIZE] = {};
    size_t length = 0;
    const flight_result_t result =
        flight_v1_send_sync(cmd_set, cmd_id, HOST_FLIGHT_CONTROLLER, nullptr, 0, ANSWER_TIMEOUT_US, received, &length);
    if (result != FLIGHT_OK) return result;
    if (length < sizeof answer) return FLIGHT_ERR_RESOURCE;
    std::memcpy(&answer, received, sizeof answer);
    return FLIGHT_OK;
}

flight_result_t send_get_version(char* firmware_str)
{
    cmd_get_version_t answer = {};
    const flight_result_t result = ask(SET_COMMON, ID_GET_VERSION, answer);
    if (result != FLIGHT_OK) return result;
    const auto part = [&answer](unsigned shift) { return static_cast<uint8_t>(answer.firmware_ver >> shift); };
    snprintf(firmware_str, FIRMWARE_TEXT_SIZE, "%d.%d.%d.%d", part(24), part(16), part(8), part(0));
    return FLIGHT_OK;
}

flight_result_t send_get_drone_type(int8_t* drone_type)
{
    cmd_get_drone_type_t answer = {};
    const flight_result_t result = ask(SET_FLIGHT_CONTROLLER, CMD_ID_GET_PRODUCT_TYPE, answer);
    if (result == FLIGHT_OK) *drone_type = answer.drone_type;
    return result;
}

flight_result_t send_get_drone_sn(uint8_t* sn)
{
    sn_request_ack_t answer = {};
    const flight_result_t result = ask(SET_FLIGHT_CONTROLLER, CMD_ID_GET_PRODUCT_ID, answer);
    if (result == FLIGHT_OK) std::memcpy(sn, answer.sn, sizeof answer.sn);
    return result;
}
