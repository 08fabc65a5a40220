// Reply to the version query of the flight client: a result byte, then two records (service, database).
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)
// Version AA.BB.CC.DD, last part first.
struct v1_loader_version_t {
    uint8_t DD;
    uint8_t CC;
    uint8_t BB;
    uint8_t AA;
};

struct v1_firmware_version_t {
    uint16_t Build;
    uint8_t Minor;
    uint8_t Major;
};

struct v1_dev_version_t {
    uint8_t protocal_version;  // bits 0-3 minor, 4-7 major
    char Hw[16];               // text, zero-padded, no terminator when full
    v1_loader_version_t Loader;
    v1_firmware_version_t Fw;
    uint32_t CmdSet;  // V1_CMD_SET_*
    uint8_t Rollback;
};

struct flight_version_ack_t {
    uint8_t ret_code;  // always 0
    v1_dev_version_t service;
    v1_dev_version_t database;  // zero when the device has none
};
#pragma pack(pop)
static_assert(sizeof(v1_loader_version_t) == 4 && offsetof(v1_loader_version_t, CC) == 1);
static_assert(offsetof(v1_loader_version_t, BB) == 2 && offsetof(v1_loader_version_t, AA) == 3);
static_assert(sizeof(v1_firmware_version_t) == 4 && offsetof(v1_firmware_version_t, Minor) == 2);
static_assert(offsetof(v1_firmware_version_t, Major) == 3);
static_assert(sizeof(v1_dev_version_t) == 30 && offsetof(v1_dev_version_t, Hw) == 1);
static_assert(offsetof(v1_dev_version_t, Loader) == 17 && offsetof(v1_dev_version_t, Fw) == 21);
static_assert(offsetof(v1_dev_version_t, CmdSet) == 25 && offsetof(v1_dev_version_t, Rollback) == 29);
static_assert(sizeof(flight_version_ack_t) == 61 && offsetof(flight_version_ack_t, service) == 1);
static_assert(offsetof(flight_version_ack_t, database) == 31);

// Flags of v1_dev_version_t::CmdSet; bits 10 to 30 are reserved.
inline constexpr uint32_t V1_CMD_SET_COMMON = 1u << 0;
inline constexpr uint32_t V1_CMD_SET_SPECIAL = 1u << 1;
inline constexpr uint32_t V1_CMD_SET_CAMERA = 1u << 2;
inline constexpr uint32_t V1_CMD_SET_FLY_CTRL = 1u << 3;
inline constexpr uint32_t V1_CMD_SET_GIMBAL = 1u << 4;
inline constexpr uint32_t V1_CMD_SET_CENTER = 1u << 5;
inline constexpr uint32_t V1_CMD_SET_TELE_CTRL = 1u << 6;
inline constexpr uint32_t V1_CMD_SET_WIFI = 1u << 7;
inline constexpr uint32_t V1_CMD_SET_DM368 = 1u << 8;
inline constexpr uint32_t V1_CMD_SET_OFDM = 1u << 9;
inline constexpr uint32_t V1_CMD_SET_PRODUCTION = 1u << 31;
