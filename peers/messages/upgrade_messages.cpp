// Upgrade, announcement and reading of the no-fly-zone database.
#include "flight_v1_wire.h"
#include "messages/message_fields.h"
#include "upgrade_wire.h"

namespace peers {
namespace {

constexpr value_name_t RESULTS[] = {
    {UPGRADE_RET_OK, "ok"},
    {UPGRADE_RET_LENGTH, "wrong length"},
    {UPGRADE_RET_FIRST_SHORT, "first block too short"},
    {UPGRADE_RET_NOT_NEWER, "older than the installed one"},
    {UPGRADE_RET_RECEIVED_MD5, "received bytes have another digest"},
    {UPGRADE_RET_FILE_MD5, "digest in the file is wrong"},
    {UPGRADE_RET_BLOCK_NUMBER, "another block is expected"},
    {UPGRADE_RET_NOT_WRITTEN, "not written"},
    {UPGRADE_RET_STATE, "not now"},
    {0, nullptr},
};

constexpr value_name_t READ_RESULTS[] = {
    {PROFILE_RET_OK, "ok"},
    {PROFILE_RET_NO_FILE, "no database"},
    {PROFILE_RET_LENGTH, "wrong length"},
    {PROFILE_RET_SEEK, "cannot seek"},
    {PROFILE_RET_SHORT, "beyond the end"},
    {PROFILE_RET_TOO_LONG, "over 270 bytes"},
    {PROFILE_RET_UPGRADING, "upgrade under way"},
    {PROFILE_RET_FAILED, "last upgrade failed"},
    {0, nullptr},
};

constexpr field_t ENTRY[] = {{"reserved", 0, field_type::bytes, UPGRADE_ENTRY_REQ_SIZE}};

constexpr field_t ENTRY_ACK[] = {
    WIRE_NAMED(upgrade_request_entry_ack_t, ret_code, u8, RESULTS),
    WIRE_BITS("support_v1com", upgrade_request_entry_ack_t, transfer_option, u8, 0, 1),
    WIRE_BITS("support_ftp", upgrade_request_entry_ack_t, transfer_option, u8, 1, 1),
    WIRE_BITS("support_serial_upgrade", upgrade_request_entry_ack_t, upgrade_option, u8, 0, 1),
    WIRE_BITS("support_parallel_upgrade", upgrade_request_entry_ack_t, upgrade_option, u8, 1, 1),
    WIRE_BITS("support_tar_upgrade", upgrade_request_entry_ack_t, upgrade_option, u8, 2, 1),
    WIRE_BITS("support_datacopy_upgrade", upgrade_request_entry_ack_t, upgrade_option, u8, 3, 1),
};

constexpr field_t START[] = {
    WIRE_FIELD(upgrade_request_receive_req_t, encryption_type, u8),
    WIRE_FIELD(upgrade_request_receive_req_t, firmware_size, u32, 1, "bytes"),
    WIRE_FIELD(upgrade_request_receive_req_t, reserved, bytes, 6),
    WIRE_BITS("transferby_v1com", upgrade_request_receive_req_t, transfer_type, u8, 0, 1),
    WIRE_BITS("transferby_ftp", upgrade_request_receive_req_t, transfer_type, u8, 1, 1),
    WIRE_BITS("serial_upgrade", upgrade_request_receive_req_t, upgrade_type, u8, 0, 1),
    WIRE_BITS("parallel_upgrade", upgrade_request_receive_req_t, upgrade_type, u8, 1, 1),
    WIRE_BITS("upgrade_with_tar", upgrade_request_receive_req_t, upgrade_type, u8, 2, 1),
    WIRE_BITS("upgrade_copydata", upgrade_request_receive_req_t, upgrade_type, u8, 3, 1),
};

constexpr field_t START_ACK[] = {
    WIRE_NAMED(upgrade_request_receive_ack_t, ret_code, u8, RESULTS),
    WIRE_FIELD(upgrade_request_receive_ack_t, frag_length, u16, 1, "bytes"),
};

constexpr field_t DATA[] = {
    WIRE_FIELD(upgrade_data_transfer_req_t, encryption_type, u8),
    WIRE_FIELD(upgrade_data_transfer_req_t, block_number, i32),
    WIRE_FIELD(upgrade_data_transfer_req_t, block_size, u16, 1, "bytes"),
    {"block_data", sizeof(upgrade_data_transfer_req_t), field_type::rest},
};

constexpr field_t DATA_ACK[] = {
    WIRE_NAMED(upgrade_data_transfer_ack_t, ret_code, u8, RESULTS),
    WIRE_FIELD(upgrade_data_transfer_ack_t, block_number, i32),
};

constexpr field_t END[] = {
    WIRE_FIELD(upgrade_end_req_t, encryption_type, u8),
    WIRE_FIELD(upgrade_end_req_t, md5, bytes, NFZ_MD5_SIZE),
};

constexpr field_t END_ACK[] = {WIRE_NAMED(upgrade_end_ack_t, ret_code, u8, RESULTS)};

constexpr field_t REBOOT_ACK[] = {{"ret_code", 0, field_type::u8, 1, "", RESULTS}};

constexpr field_t DEVICE_STATE_ACK[] = {
    WIRE_FIELD(upgrade_get_device_state_ack_t, ret_code, u8),
    WIRE_BITS("protocol.minor", upgrade_get_device_state_ack_t, protocol_version, u8, 0, 4),
    WIRE_BITS("protocol.major", upgrade_get_device_state_ack_t, protocol_version, u8, 4, 4),
    WIRE_BITS("is_loader_mode", upgrade_get_device_state_ack_t, device_state, u8, 0, 1),
    WIRE_BITS("is_no_repower", upgrade_get_device_state_ack_t, device_state, u8, 1, 1),
};

constexpr value_name_t DYNAMIC_STATES[] = {{0, "none"}, {0, nullptr}};

constexpr field_t ANNOUNCEMENT[] = {
    WIRE_FIELD(upgrade_flylimit_version_push_t, static_db_version, version),
    WIRE_FIELD(upgrade_flylimit_version_push_t, static_db_timestamp, u32, 1, "s"),
    WIRE_BITS("use_flight_update_dynamic", upgrade_flylimit_version_push_t, flags, u32, 0, 1),
    WIRE_BITS("static_db_broken", upgrade_flylimit_version_push_t, flags, u32, 1, 1),
    WIRE_BITS("static_db_too_old", upgrade_flylimit_version_push_t, flags, u32, 2, 1),
    WIRE_BITS_NAMED("dynamic_db_state", upgrade_flylimit_version_push_t, flags, u32, DYNAMIC_STATES, 3, 2),
    WIRE_FIELD(upgrade_flylimit_version_push_t, dynamic_db_hash, bytes, 16),
};

constexpr field_t READ[] = {
    WIRE_FIELD(upgrade_profile_read_file_req_t, file_type, u8),
    WIRE_FIELD(upgrade_profile_read_file_req_t, read_addr, u32),
    WIRE_FIELD(upgrade_profile_read_file_req_t, read_len, u32, 1, "bytes"),
};

constexpr field_t READ_ACK[] = {
    WIRE_NAMED(upgrade_profile_read_file_ack_t, ret_code, u8, READ_RESULTS),
    WIRE_FIELD(upgrade_profile_read_file_ack_t, read_addr, u32),
    WIRE_FIELD(upgrade_profile_read_file_ack_t, read_data, rest),
};
constexpr uint16_t READ_ACK_MIN = offsetof(upgrade_profile_read_file_ack_t, read_data);

constexpr field_t CODE_ACK[] = {{"ret_code", 0, field_type::u8}};

constexpr message_kind REQUEST = message_kind::request;
constexpr message_kind REPLY = message_kind::reply;

constexpr parties_t SENT_BY_APP = {HOST_APP, HOST_NFZ_UPGRADE};
constexpr parties_t ANNOUNCED = {HOST_NFZ_UPGRADE, HOST_APP};
constexpr parties_t READ_BACK = {HOST_FLIGHT_CONTROLLER, HOST_NFZ_UPGRADE};

constexpr message_t MESSAGES[] = {
    {"upgrade_entry", "begins an upgrade", SENT_BY_APP, SET_COMMON, ID_UPGRADE_ENTRY, REQUEST, 0,
     UPGRADE_ENTRY_REQ_SIZE, ENTRY},
    {"upgrade_entry_ack", "how blocks may be sent", SENT_BY_APP, SET_COMMON, ID_UPGRADE_ENTRY, REPLY, 0,
     sizeof(upgrade_request_entry_ack_t), ENTRY_ACK},
    {"upgrade_start", "announces the size", SENT_BY_APP, SET_COMMON, ID_UPGRADE_START, REQUEST, 0,
     sizeof(upgrade_request_receive_req_t), START},
    {"upgrade_start_ack", "largest block", SENT_BY_APP, SET_COMMON, ID_UPGRADE_START, REPLY, 0,
     sizeof(upgrade_request_receive_ack_t), START_ACK},
    {"upgrade_data", "one numbered block", SENT_BY_APP, SET_COMMON, ID_UPGRADE_DATA, REQUEST, 0,
     sizeof(upgrade_data_transfer_req_t), DATA},
    {"upgrade_data_ack", "last block written", SENT_BY_APP, SET_COMMON, ID_UPGRADE_DATA, REPLY, 0,
     sizeof(upgrade_data_transfer_ack_t), DATA_ACK},
    {"upgrade_end", "asks to verify and install", SENT_BY_APP, SET_COMMON, ID_UPGRADE_END, REQUEST, 0,
     sizeof(upgrade_end_req_t), END},
    {"upgrade_end_ack", "verified and installed, or not", SENT_BY_APP, SET_COMMON, ID_UPGRADE_END, REPLY, 0,
     sizeof(upgrade_end_ack_t), END_ACK},
    {"reboot", "asks for a restart", SENT_BY_APP, SET_COMMON, ID_UPGRADE_REBOOT, REQUEST, 0, 0, {}},
    {"reboot_ack", "nothing is restarted", SENT_BY_APP, SET_COMMON, ID_UPGRADE_REBOOT, REPLY, 0, 1, REBOOT_ACK},
    {"get_device_state", "asks for the state", SENT_BY_APP, SET_COMMON, ID_GET_DEVICE_STATE, REQUEST, 0, 0, {}},
    {"device_state", "the state", SENT_BY_APP, SET_COMMON, ID_GET_DEVICE_STATE, REPLY, 0,
     sizeof(upgrade_get_device_state_ack_t), DEVICE_STATE_ACK},
    {"database_announcement", "the installed database", ANNOUNCED, SET_FLIGHT_CONTROLLER, ID_FLYLIMIT_VERSION, REQUEST,
     0, sizeof(upgrade_flylimit_version_push_t), ANNOUNCEMENT},
    {"database_announcement_ack", "heard", ANNOUNCED, SET_FLIGHT_CONTROLLER, ID_FLYLIMIT_VERSION, REPLY, 0, 1,
     CODE_ACK},
    {"database_read", "asks for a range of the database", READ_BACK, SET_FLYLIMIT, ID_NFZ_READ, REQUEST, 0,
     sizeof(upgrade_profile_read_file_req_t), READ},
    {"database_range", "a range of the database", READ_BACK, SET_FLYLIMIT, ID_NFZ_READ, REPLY, 0, READ_ACK_MIN,
     READ_ACK},
};

}  // namespace

std::span<const message_t> upgrade_messages()
{
    return MESSAGES;
}

}  // namespace peers
