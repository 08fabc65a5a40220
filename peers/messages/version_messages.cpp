// Who is who: versions of service, database and flight controller, drone type, serial number.
#include "afqt_wire.h"
#include "flight_v1_wire.h"
#include "flight_version_wire.h"
#include "messages/message_fields.h"
#include "upgrade_wire.h"

namespace peers {
namespace {

// Names of members cannot stand in parentheses.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define DEVICE_VERSION(prefix, record)                                                                         \
    WIRE_BITS(prefix "protocol.minor", flight_version_ack_t, record.protocal_version, u8, 0, 4),               \
        WIRE_BITS(prefix "protocol.major", flight_version_ack_t, record.protocal_version, u8, 4, 4),           \
        WIRE_FIELD_AS(prefix "hardware", flight_version_ack_t, record.Hw, text, sizeof(v1_dev_version_t::Hw)), \
        WIRE_FIELD_AS(prefix "version", flight_version_ack_t, record.Loader, version),                         \
        WIRE_FIELD_AS(prefix "build", flight_version_ack_t, record.Fw.Build, u16),                             \
        WIRE_FIELD_AS(prefix "minor", flight_version_ack_t, record.Fw.Minor, u8),                              \
        WIRE_FIELD_AS(prefix "major", flight_version_ack_t, record.Fw.Major, u8),                              \
        WIRE_FIELD_AS(prefix "command_sets", flight_version_ack_t, record.CmdSet, u32),                        \
        WIRE_FIELD_AS(prefix "rollback", flight_version_ack_t, record.Rollback, u8)

// NOLINTEND(bugprone-macro-parentheses)

constexpr field_t SERVICE_VERSION_ACK[] = {
    WIRE_FIELD(flight_version_ack_t, ret_code, u8),
    DEVICE_VERSION("service.", service),
    DEVICE_VERSION("database.", database),
};
#undef DEVICE_VERSION

constexpr field_t DATABASE_VERSION_ACK[] = {
    WIRE_FIELD(upgrade_get_version_ack_t, ret_code, u8),
    WIRE_BITS("protocol.minor", upgrade_get_version_ack_t, protocol_version, u8, 0, 4),
    WIRE_BITS("protocol.major", upgrade_get_version_ack_t, protocol_version, u8, 4, 4),
    WIRE_FIELD(upgrade_get_version_ack_t, hardware_version, text, 16),
    WIRE_FIELD(upgrade_get_version_ack_t, loader_version, version),
    WIRE_FIELD(upgrade_get_version_ack_t, firmware_version, version),
    WIRE_FIELD(upgrade_get_version_ack_t, capabilities, u32),
};

constexpr field_t FC_VERSION_ACK[] = {
    WIRE_FIELD(cmd_get_version_t, result, u8),
    WIRE_BITS("protocol.minor", cmd_get_version_t, ver, u8, 0, 4),
    WIRE_BITS("protocol.major", cmd_get_version_t, ver, u8, 4, 4),
    WIRE_FIELD(cmd_get_version_t, hardware_ver, text, 16),
    WIRE_FIELD(cmd_get_version_t, loader_ver, version),
    WIRE_FIELD(cmd_get_version_t, firmware_ver, version),
    WIRE_FIELD(cmd_get_version_t, cmd_set, u32),
    WIRE_BITS("go_back", cmd_get_version_t, reserv, u8, 0, 1),
};

constexpr field_t DRONE_TYPE_ACK[] = {
    WIRE_FIELD(cmd_get_drone_type_t, drone_type, i8),
};

constexpr field_t SERIAL_ACK[] = {
    WIRE_FIELD(sn_request_ack_t, result, u8),
    WIRE_FIELD_AS("serial", sn_request_ack_t, sn, text, 16),
};

constexpr parties_t ANYBODY = {};
constexpr parties_t OF_SERVICE = {0, HOST_FLIGHT_SERVICE};
constexpr parties_t OF_UPGRADE_CLIENT = {0, HOST_NFZ_UPGRADE};
constexpr parties_t OF_FLIGHT_CONTROLLER = {HOST_FLIGHT_SERVICE, HOST_FLIGHT_CONTROLLER};

constexpr message_t MESSAGES[] = {
    {"get_version", "asks for versions", ANYBODY, SET_COMMON, ID_GET_VERSION, message_kind::request, 0, 0, {}},
    {"service_version", "versions of the service and its database", OF_SERVICE, SET_COMMON, ID_GET_VERSION,
     message_kind::reply, HOST_FLIGHT_SERVICE, sizeof(flight_version_ack_t), SERVICE_VERSION_ACK},
    {"database_version", "version of the no-fly-zone database", OF_UPGRADE_CLIENT, SET_COMMON, ID_GET_VERSION,
     message_kind::reply, HOST_NFZ_UPGRADE, sizeof(upgrade_get_version_ack_t), DATABASE_VERSION_ACK},
    {"fc_version", "version of the flight controller", OF_FLIGHT_CONTROLLER, SET_COMMON, ID_GET_VERSION,
     message_kind::reply, HOST_FLIGHT_CONTROLLER, sizeof(cmd_get_version_t), FC_VERSION_ACK},
    {"get_drone_type",
     "asks for the craft type",
     OF_FLIGHT_CONTROLLER,
     SET_FLIGHT_CONTROLLER,
     CMD_ID_GET_PRODUCT_TYPE,
     message_kind::request,
     0,
     0,
     {}},
    {"drone_type", "the craft type", OF_FLIGHT_CONTROLLER, SET_FLIGHT_CONTROLLER, CMD_ID_GET_PRODUCT_TYPE,
     message_kind::reply, 0, sizeof(cmd_get_drone_type_t), DRONE_TYPE_ACK},
    {"get_serial",
     "asks for the serial number",
     OF_FLIGHT_CONTROLLER,
     SET_FLIGHT_CONTROLLER,
     CMD_ID_GET_PRODUCT_ID,
     message_kind::request,
     0,
     0,
     {}},
    {"serial", "the serial number", OF_FLIGHT_CONTROLLER, SET_FLIGHT_CONTROLLER, CMD_ID_GET_PRODUCT_ID,
     message_kind::reply, 0, sizeof(sn_request_ack_t), SERIAL_ACK},
};

}  // namespace

std::span<const message_t> version_messages()
{
    return MESSAGES;
}

}  // namespace peers
