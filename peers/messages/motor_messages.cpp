// Holding the motors through errors registered with the flight controller.
#include "flight_v1_wire.h"
#include "messages/message_fields.h"
#include "upgrade_wire.h"

namespace peers {
namespace {

constexpr value_name_t RESULTS[] = {{0, "accepted"}, {1, "refused"}, {0, nullptr}};
constexpr value_name_t STATUSES[] = {{MOTOR_ENABLE, "motors enabled"}, {MOTOR_DISABLE, "motors held"}, {0, nullptr}};

constexpr field_t REGISTER[] = {
    WIRE_FIELD(vela_fc_set_register_motor_ext_err_req, need_generate_request_id, u8),
    WIRE_FIELD(vela_fc_set_register_motor_ext_err_req, requester_id, u32),
    WIRE_FIELD(vela_fc_set_register_motor_ext_err_req, identity_id, u8),
    WIRE_FIELD(vela_fc_set_register_motor_ext_err_req, link_timeout, u16, 1, "ms"),
    WIRE_FIELD(vela_fc_set_register_motor_ext_err_req, err_description, text, 16),
};

constexpr field_t REGISTER_ACK[] = {
    WIRE_NAMED(vela_fc_set_register_motor_ext_err_rsp, result, u8, RESULTS),
    WIRE_FIELD(vela_fc_set_register_motor_ext_err_rsp, requester_id, u32),
    WIRE_FIELD(vela_fc_set_register_motor_ext_err_rsp, identity_id, u8),
    WIRE_FIELD(vela_fc_set_register_motor_ext_err_rsp, motor_ext_err_code, u8),
    WIRE_FIELD(vela_fc_set_register_motor_ext_err_rsp, surplus_usable_ext_err_num, u8),
};

// Only the first entry is used by anybody; the others are shown as they are.
constexpr field_t SET[] = {
    WIRE_FIELD(vela_fc_set_set_motor_ext_err_req, motor_ext_err_num, u8),
    WIRE_FIELD(vela_fc_set_set_motor_ext_err_req, requester_id, u32),
    WIRE_FIELD_AS("motor_ext_err_code", vela_fc_set_set_motor_ext_err_req, motor_ext_err_status[0].motor_ext_err_code,
                  u8),
    WIRE_FIELD_AS("status_to_set", vela_fc_set_set_motor_ext_err_req, motor_ext_err_status[0].status_to_set, u8, 1, "",
                  STATUSES),
    WIRE_FIELD_AS("more_entries", vela_fc_set_set_motor_ext_err_req, motor_ext_err_status[1], bytes, 20),
};

constexpr field_t SET_ACK[] = {{"result", 0, field_type::u8, 1, "", RESULTS}};

constexpr message_kind REQUEST = message_kind::request;
constexpr message_kind REPLY = message_kind::reply;

constexpr parties_t OF_THE_MOTORS = {HOST_NFZ_UPGRADE, HOST_FLIGHT_CONTROLLER};

constexpr message_t MESSAGES[] = {
    {"motor_error_register", "asks for a way to hold the motors", OF_THE_MOTORS, SET_FLIGHT_CONTROLLER,
     ID_REGISTER_MOTOR_ERR, REQUEST, 0, sizeof(vela_fc_set_register_motor_ext_err_req), REGISTER},
    {"motor_error_registered", "the id and code to use", OF_THE_MOTORS, SET_FLIGHT_CONTROLLER, ID_REGISTER_MOTOR_ERR,
     REPLY, 0, sizeof(vela_fc_set_register_motor_ext_err_rsp), REGISTER_ACK},
    {"motor_error_set", "holds or releases the motors", OF_THE_MOTORS, SET_FLIGHT_CONTROLLER, ID_SET_MOTOR_ERR, REQUEST,
     0, sizeof(vela_fc_set_set_motor_ext_err_req), SET},
    {"motor_error_set_ack", "obeyed or not", OF_THE_MOTORS, SET_FLIGHT_CONTROLLER, ID_SET_MOTOR_ERR, REPLY, 0, 1,
     SET_ACK},
};

}  // namespace

std::span<const message_t> motor_messages()
{
    return MESSAGES;
}

}  // namespace peers
