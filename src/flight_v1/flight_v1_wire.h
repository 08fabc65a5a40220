// What every message on the bus has in common: addresses, attribute bits, sets and ids. Shared by service and peers.
#pragma once

#include <cstdint>

// Bus addresses. The high byte is the kind of device (2: the app), the low byte its instance.
inline constexpr uint16_t HOST_APP = 0x0200;
inline constexpr uint16_t HOST_FLIGHT_CONTROLLER = 0x0306;
inline constexpr uint16_t HOST_FACTORY_STATION = 0x1103;
inline constexpr uint16_t HOST_FLIGHT_SERVICE = 0x1105;  // endpoint "flight_srv_fmu"
inline constexpr uint16_t HOST_NFZ_UPGRADE = 0x1106;     // endpoint "flight_nfz_upgrade"

// Attribute word of a record.
inline constexpr uint16_t ATTRIB_ENC_TYPE_MASK = 0x000f;
inline constexpr uint16_t ATTRIB_NEED_ACK_SHIFT = 5;
inline constexpr uint16_t ATTRIB_NEED_ACK_MASK = 0x0003;  // after the shift; any value but 0 asks for a reply
inline constexpr uint16_t ATTRIB_REPLY = 0x0080;
inline constexpr uint16_t ATTRIB_SEND = 0x0100;           // a message without reply
inline constexpr uint16_t ATTRIB_SEND_SYNC = 0x0040;      // need-ack 2, the sender waits
inline constexpr uint16_t ATTRIB_SEND_NEED_ACK = 0x0140;  // need-ack 2, the answer comes through the command table

// One-byte reply to a request that nobody handles.
inline constexpr uint8_t REPLY_UNKNOWN_COMMAND = 0xE0;

// Command sets and ids.
inline constexpr uint8_t SET_COMMON = 0x00;
inline constexpr uint8_t ID_GET_VERSION = 0x01;
inline constexpr uint8_t ID_UPGRADE_ENTRY = 0x07;
inline constexpr uint8_t ID_UPGRADE_START = 0x08;
inline constexpr uint8_t ID_UPGRADE_DATA = 0x09;
inline constexpr uint8_t ID_UPGRADE_END = 0x0a;
inline constexpr uint8_t ID_UPGRADE_REBOOT = 0x0b;
inline constexpr uint8_t ID_GET_DEVICE_STATE = 0x0c;

inline constexpr uint8_t SET_FLIGHT_CONTROLLER = 0x03;
inline constexpr uint8_t ID_DB_BAG_ADD = 0x14;
inline constexpr uint8_t ID_DB_BAG_RESET = 0x15;
inline constexpr uint8_t ID_DB_BAG_DELETE = 0x16;
inline constexpr uint8_t ID_DB_BAG_UPDATE_FREQ = 0x17;
inline constexpr uint8_t ID_DB_BAG_PUSH = 0xc1;
inline constexpr uint8_t ID_TFR_UPDATE = 0xcd;
inline constexpr uint8_t ID_FLYLIMIT_VERSION = 0xce;
inline constexpr uint8_t ID_REGISTER_MOTOR_ERR = 0xea;
inline constexpr uint8_t ID_SET_MOTOR_ERR = 0xec;

inline constexpr uint8_t SET_FLYLIMIT = 0x1f;
inline constexpr uint8_t ID_NFZ_READ = 0x11;
inline constexpr uint8_t ID_TFR_PUSH = 0x12;
