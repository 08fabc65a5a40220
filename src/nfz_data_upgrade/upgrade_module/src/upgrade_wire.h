// The no-fly-zone (NFZ) database file and the messages of its upgrade, its reads and the motor interlock. Shared by
// service and peers. All records packed, little-endian; a reply's first byte is its result code.
#pragma once

#include <cstddef>
#include <cstdint>

// The file: 64 leading bytes (the first 16 must not be all zero), the head, content, and as last 16 bytes the MD5 of
// everything before them.
inline constexpr uint32_t NFZ_HEAD_OFFSET = 64;
inline constexpr uint32_t NFZ_LEADING_BYTES_CHECKED = 16;
inline constexpr uint32_t NFZ_MD5_SIZE = 16;
inline constexpr uint32_t NFZ_MIN_FIRST_BLOCK = 64;  // data bytes that the first block must have

// Data bytes per block that the service asks for.
inline constexpr uint16_t UPGRADE_FRAG_LENGTH = 980;

// Bytes of one range read.
inline constexpr uint32_t PROFILE_MAX_READ = 270;

#pragma pack(push, 1)
struct nfz_bin_header_t {
    uint32_t version[4];  // most significant first
    uint32_t circle_num;
    uint32_t circle_base;
    uint32_t nfz_num;
    uint32_t nfz_base;
    uint8_t rsv[32];
};

// (0x00, 0x07) Entry: 9 bytes that nobody reads.
inline constexpr size_t UPGRADE_ENTRY_REQ_SIZE = 9;

struct upgrade_request_entry_ack_t {
    uint8_t ret_code;
    uint8_t transfer_option;  // bit 0 support_v1com, 1 support_ftp
    uint8_t upgrade_option;   // bit 0 support_serial_upgrade, 1 parallel, 2 tar, 3 datacopy
};

// (0x00, 0x08) Start.
struct upgrade_request_receive_req_t {
    uint8_t encryption_type;  // not used
    uint32_t firmware_size;   // bytes of the whole database
    uint8_t reserved[6];
    uint8_t transfer_type;  // bit 0 transferby_v1com, 1 transferby_ftp; not used
    uint8_t upgrade_type;   // bit 0 serial_upgrade, 1 parallel, 2 tar, 3 copydata; not used
};

struct upgrade_request_receive_ack_t {
    uint8_t ret_code;
    uint16_t frag_length;  // largest block_size the app is to send
    uint8_t reserve[68];
};

// (0x00, 0x09) Data; `block_size` bytes follow.
struct upgrade_data_transfer_req_t {
    uint8_t encryption_type;  // not used
    int32_t block_number;     // 0 for the first
    uint16_t block_size;
};

struct upgrade_data_transfer_ack_t {
    uint8_t ret_code;
    int32_t block_number;  // last block written, -1 before the first, whatever ret_code says
};

// (0x00, 0x0a) End.
struct upgrade_end_req_t {
    uint8_t encryption_type;    // not used
    uint8_t md5[NFZ_MD5_SIZE];  // of all bytes of the database
};

struct upgrade_end_ack_t {
    uint8_t ret_code;
};

// (0x00, 0x01) Database version.
struct upgrade_get_version_ack_t {
    uint8_t ret_code;          // always 0
    uint8_t protocol_version;  // bits 0-3 minor_version, 4-7 major_version: 10.0 with a database, else 0
    uint8_t hardware_version[16];
    uint8_t loader_version[4];
    uint8_t firmware_version[4];  // ver3, ver2, ver1, ver0
    uint32_t capabilities;        // none
};

// (0x00, 0x0c) Device state.
struct upgrade_get_device_state_ack_t {
    uint8_t ret_code;
    uint8_t protocol_version;  // bits 0-3 minor_version, 4-7 major_version
    uint8_t device_state;      // bit 0 is_loader_mode, 1 is_no_repower
    uint8_t reserve2;
    uint16_t reserve3;
};

// (0x03, 0xce) Announcement of the installed database.
struct upgrade_flylimit_version_push_t {
    uint8_t static_db_version[4];  // ver3, ver2, ver1, ver0
    uint32_t static_db_timestamp;
    uint32_t flags;  // FLYLIMIT_*; bits 3-4 dynamic_db_state
    uint8_t dynamic_db_hash[16];
};

// (0x1f, 0x11) Range read.
struct upgrade_profile_read_file_req_t {
    uint8_t file_type;  // not used
    uint32_t read_addr;
    uint32_t read_len;  // at most PROFILE_MAX_READ
};

// A failure is the whole record, zero behind its code; a success is 5 + read_len bytes.
struct upgrade_profile_read_file_ack_t {
    uint8_t ret_code;
    uint32_t read_addr;
    uint8_t read_data[PROFILE_MAX_READ];
};

// (0x03, 0xea) Registration of a motor error, by which the service may hold the motors.
struct vela_fc_set_register_motor_ext_err_req {
    uint8_t need_generate_request_id;
    uint32_t requester_id;
    uint8_t identity_id;
    uint16_t link_timeout;  // ms
    char err_description[16];
};

struct vela_fc_set_register_motor_ext_err_rsp {
    uint8_t result;  // 0 accepted
    uint32_t requester_id;
    uint8_t identity_id;
    uint8_t motor_ext_err_code;
    uint8_t surplus_usable_ext_err_num;
};

struct vela_motor_ext_err_status {
    uint8_t motor_ext_err_code;
    uint8_t status_to_set;  // MOTOR_ENABLE, MOTOR_DISABLE
};

// (0x03, 0xec) Setting it.
struct vela_fc_set_set_motor_ext_err_req {
    uint8_t motor_ext_err_num;  // used entries
    uint32_t requester_id;
    vela_motor_ext_err_status motor_ext_err_status[11];
};
#pragma pack(pop)

static_assert(sizeof(nfz_bin_header_t) == 64 && offsetof(nfz_bin_header_t, version) == 0);
static_assert(offsetof(nfz_bin_header_t, circle_num) == 16 && offsetof(nfz_bin_header_t, circle_base) == 20);
static_assert(offsetof(nfz_bin_header_t, nfz_num) == 24 && offsetof(nfz_bin_header_t, nfz_base) == 28);
static_assert(offsetof(nfz_bin_header_t, rsv) == 32);
static_assert(sizeof(upgrade_request_entry_ack_t) == 3 && offsetof(upgrade_request_entry_ack_t, transfer_option) == 1);
static_assert(offsetof(upgrade_request_entry_ack_t, upgrade_option) == 2);
static_assert(sizeof(upgrade_request_receive_req_t) == 13);
static_assert(offsetof(upgrade_request_receive_req_t, firmware_size) == 1);
static_assert(offsetof(upgrade_request_receive_req_t, reserved) == 5);
static_assert(offsetof(upgrade_request_receive_req_t, transfer_type) == 11);
static_assert(offsetof(upgrade_request_receive_req_t, upgrade_type) == 12);
static_assert(sizeof(upgrade_request_receive_ack_t) == 71);
static_assert(offsetof(upgrade_request_receive_ack_t, frag_length) == 1);
static_assert(offsetof(upgrade_request_receive_ack_t, reserve) == 3);
static_assert(sizeof(upgrade_data_transfer_req_t) == 7 && offsetof(upgrade_data_transfer_req_t, block_number) == 1);
static_assert(offsetof(upgrade_data_transfer_req_t, block_size) == 5);
static_assert(sizeof(upgrade_data_transfer_ack_t) == 5 && offsetof(upgrade_data_transfer_ack_t, block_number) == 1);
static_assert(sizeof(upgrade_end_req_t) == 17 && offsetof(upgrade_end_req_t, md5) == 1);
static_assert(sizeof(upgrade_end_ack_t) == 1);
static_assert(sizeof(upgrade_get_version_ack_t) == 30);
static_assert(offsetof(upgrade_get_version_ack_t, protocol_version) == 1);
static_assert(offsetof(upgrade_get_version_ack_t, hardware_version) == 2);
static_assert(offsetof(upgrade_get_version_ack_t, loader_version) == 18);
static_assert(offsetof(upgrade_get_version_ack_t, firmware_version) == 22);
static_assert(offsetof(upgrade_get_version_ack_t, capabilities) == 26);
static_assert(sizeof(upgrade_get_device_state_ack_t) == 6);
static_assert(offsetof(upgrade_get_device_state_ack_t, protocol_version) == 1);
static_assert(offsetof(upgrade_get_device_state_ack_t, device_state) == 2);
static_assert(offsetof(upgrade_get_device_state_ack_t, reserve2) == 3);
static_assert(offsetof(upgrade_get_device_state_ack_t, reserve3) == 4);
static_assert(sizeof(upgrade_flylimit_version_push_t) == 28);
static_assert(offsetof(upgrade_flylimit_version_push_t, static_db_timestamp) == 4);
static_assert(offsetof(upgrade_flylimit_version_push_t, flags) == 8);
static_assert(offsetof(upgrade_flylimit_version_push_t, dynamic_db_hash) == 12);
static_assert(sizeof(upgrade_profile_read_file_req_t) == 9);
static_assert(offsetof(upgrade_profile_read_file_req_t, read_addr) == 1);
static_assert(offsetof(upgrade_profile_read_file_req_t, read_len) == 5);
static_assert(sizeof(upgrade_profile_read_file_ack_t) == 275);
static_assert(offsetof(upgrade_profile_read_file_ack_t, read_addr) == 1);
static_assert(offsetof(upgrade_profile_read_file_ack_t, read_data) == 5);
static_assert(sizeof(vela_fc_set_register_motor_ext_err_req) == 24);
static_assert(offsetof(vela_fc_set_register_motor_ext_err_req, requester_id) == 1);
static_assert(offsetof(vela_fc_set_register_motor_ext_err_req, identity_id) == 5);
static_assert(offsetof(vela_fc_set_register_motor_ext_err_req, link_timeout) == 6);
static_assert(offsetof(vela_fc_set_register_motor_ext_err_req, err_description) == 8);
static_assert(sizeof(vela_fc_set_register_motor_ext_err_rsp) == 8);
static_assert(offsetof(vela_fc_set_register_motor_ext_err_rsp, requester_id) == 1);
static_assert(offsetof(vela_fc_set_register_motor_ext_err_rsp, identity_id) == 5);
static_assert(offsetof(vela_fc_set_register_motor_ext_err_rsp, motor_ext_err_code) == 6);
static_assert(offsetof(vela_fc_set_register_motor_ext_err_rsp, surplus_usable_ext_err_num) == 7);
static_assert(sizeof(vela_motor_ext_err_status) == 2 && offsetof(vela_motor_ext_err_status, status_to_set) == 1);
static_assert(sizeof(vela_fc_set_set_motor_ext_err_req) == 27);
static_assert(offsetof(vela_fc_set_set_motor_ext_err_req, requester_id) == 1);
static_assert(offsetof(vela_fc_set_set_motor_ext_err_req, motor_ext_err_status) == 5);

// Result codes of entry, start, data and end.
enum upgrade_ret_code_t : uint8_t {
    UPGRADE_RET_OK = 0x00,
    UPGRADE_RET_LENGTH = 0x02,        // payload empty or of a wrong length
    UPGRADE_RET_FIRST_SHORT = 0xDC,   // first block too short to hold the database head
    UPGRADE_RET_NOT_NEWER = 0xDD,     // the device has a newer database
    UPGRADE_RET_RECEIVED_MD5 = 0xDE,  // received bytes do not have the MD5 of the end request
    UPGRADE_RET_FILE_MD5 = 0xDF,      // the stored file does not have the MD5 in its tail
    UPGRADE_RET_BLOCK_NUMBER = 0xF0,  // not the successor of the last block
    UPGRADE_RET_NOT_WRITTEN = 0xF3,   // the disk refused the data
    UPGRADE_RET_STATE = 0xF5,         // not allowed in this state
};

// Result codes of a range read.
enum profile_ret_code_t : uint8_t {
    PROFILE_RET_OK = 0,
    PROFILE_RET_NO_FILE = 1,
    PROFILE_RET_LENGTH = 2,
    PROFILE_RET_SEEK = 3,
    PROFILE_RET_SHORT = 4,     // fewer bytes than asked for
    PROFILE_RET_TOO_LONG = 5,  // more than PROFILE_MAX_READ asked for
    PROFILE_RET_UPGRADING = 6,
    PROFILE_RET_FAILED = 7,  // the last upgrade failed
};

// Entry reply, device state reply, announcement.
inline constexpr uint8_t ENTRY_SUPPORT_V1COM = 1u << 0;
inline constexpr uint8_t ENTRY_SUPPORT_SERIAL_UPGRADE = 1u << 0;
inline constexpr uint8_t DEVICE_IS_LOADER_MODE = 1u << 0;
inline constexpr uint32_t FLYLIMIT_USE_FLIGHT_UPDATE_DYNAMIC = 1u << 0;
inline constexpr uint32_t FLYLIMIT_STATIC_DB_BROKEN = 1u << 1;
inline constexpr uint32_t FLYLIMIT_STATIC_DB_TOO_OLD = 1u << 2;

inline constexpr uint8_t MOTOR_ENABLE = 0;
inline constexpr uint8_t MOTOR_DISABLE = 1;
