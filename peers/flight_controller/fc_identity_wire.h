// Answers of the flight controller to the questions who it is. Packed, little-endian.
#pragma once

#include <cstddef>
#include <cstdint>

// Sets and ids of the questions; the version query is the common one (0x00, 0x01).
inline constexpr uint8_t ID_GET_PRODUCT_ID = 0x74;    // set 0x03: serial number
inline constexpr uint8_t ID_GET_PRODUCT_TYPE = 0xfd;  // set 0x03: drone type

#pragma pack(push, 1)
struct cmd_get_version_t {
    uint8_t result;            // 0
    uint8_t ver;               // bits 0-3 minor, 4-7 major
    uint8_t hardware_ver[16];  // text, zero-padded
    uint32_t loader_ver;       // most significant byte first in the version text
    uint32_t firmware_ver;
    uint32_t cmd_set;
    uint8_t reserv;  // bit 0 go_back
};

struct cmd_get_drone_type_t {
    int8_t drone_type;  // craft type
};

struct sn_request_ack_t {
    uint8_t result;  // 0
    uint8_t sn[16];  // text, no terminator when full
};
#pragma pack(pop)

static_assert(sizeof(cmd_get_version_t) == 31 && offsetof(cmd_get_version_t, ver) == 1);
static_assert(offsetof(cmd_get_version_t, hardware_ver) == 2 && offsetof(cmd_get_version_t, loader_ver) == 18);
static_assert(offsetof(cmd_get_version_t, firmware_ver) == 22 && offsetof(cmd_get_version_t, cmd_set) == 26);
static_assert(offsetof(cmd_get_version_t, reserv) == 30);
static_assert(sizeof(cmd_get_drone_type_t) == 1);
static_assert(sizeof(sn_request_ack_t) == 17 && offsetof(sn_request_ack_t, sn) == 1);
