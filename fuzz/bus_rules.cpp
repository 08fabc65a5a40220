#include "bus_rules.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>

#include "afqt/include/afqt_wire.h"
#include "common/file_io.h"
#include "flight_v1/flight_v1_wire.h"
#include "fuzz_file.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_data_file.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_session.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_wire.h"

bool reached[std::size(COMMANDS)];

static const command_t* find(const record_t& request)
{
    const auto* found = std::find_if(std::begin(COMMANDS), std::end(COMMANDS), [&](const command_t& one) {
        return one.host == request.to && one.set == request.set && one.id == request.id;
    });
    if (found == std::end(COMMANDS)) return nullptr;
    reached[found - COMMANDS] = true;
    return found;
}

// Every byte is the file's own.
static void check_range(const upgrade_profile_read_file_req_t& wanted, const bytes_t& reply)
{
    uint32_t address = 0;
    std::memcpy(&address, reply.data() + 1, sizeof address);
    check(address == wanted.read_addr, "the address comes back");
    check(reply.size() == 5 + wanted.read_len && wanted.read_len <= PROFILE_MAX_READ, "as many bytes as asked for");
    uint8_t stored[PROFILE_MAX_READ];
    const scoped_fd file(file_open_read(NFZ_DATA_FILE));
    check(file.is_open() && file_seek(file.get(), address), "there is a file to read");
    check(file_read(file.get(), stored, wanted.read_len) == wanted.read_len, "the range is in the file");
    check(std::memcmp(stored, reply.data() + 5, wanted.read_len) == 0, "the bytes of the file");
}

static void check_read(const record_t& request, const bytes_t& reply)
{
    upgrade_profile_read_file_req_t wanted = {};
    const bool well_formed = request.payload.size() == sizeof wanted;
    if (well_formed) std::memcpy(&wanted, request.payload.data(), sizeof wanted);
    const uint8_t code = reply[0];
    if (well_formed && code == PROFILE_RET_OK) check_range(wanted, reply);
    if (code != PROFILE_RET_OK) {
        check(reply.size() == READ_REPLY, "a failure is a whole record");
        check(std::all_of(reply.begin() + 1, reply.end(), [](uint8_t byte) { return byte == 0; }),
              "zero behind a code");
    }
    const upgrade_mis_t state = get_nfz_data_state();
    if (!well_formed) {
        check(code == PROFILE_RET_LENGTH, "the length comes first");
    } else if (state == UPGRADE_RUNNING) {
        check(code == PROFILE_RET_UPGRADING, "no reads during an upgrade");
    } else if (state == UPGRADE_FAIL) {
        check(code == PROFILE_RET_FAILED, "no reads after a failed upgrade");
    } else {
        check(code <= PROFILE_RET_TOO_LONG && code != PROFILE_RET_LENGTH, "a read, or what is wrong with its range");
    }
}

void check_answer(const record_t& request, bool taken, const std::vector<record_t>& replies)
{
    if (!taken) {
        check(request.set >= KEST_EVENT_SETS || request.id == 255, "only what no table can hold is dropped");
        check(replies.empty(), "what is dropped is not answered");
        return;
    }
    const command_t* command = find(request);
    const bool wanted = ((request.attrib >> ATTRIB_NEED_ACK_SHIFT) & ATTRIB_NEED_ACK_MASK) != 0;
    const bool answers = command == nullptr || command->reply_size != 0;
    check(replies.size() == (wanted && answers ? 1u : 0u), "one reply to a request that wants one, none else");
    if (replies.empty()) return;
    const bytes_t& reply = replies[0].payload;
    if (command == nullptr) {
        check(reply == bytes_t{REPLY_UNKNOWN_COMMAND}, "the refusal of an unknown command");
    } else if (command->reply_size == READ_REPLY) {
        check(reply.size() >= 5, "a reply to a read");
        check_read(request, reply);
    } else {
        check(reply.size() == command->reply_size, "a reply of the command's size");
    }
}

// The service only ever empties the file and appends to it, so that one descriptor sees all; a path costs four times as
// much to look at.
static struct stat look_at_file()
{
    static const int file = file_open_read(NFZ_DATA_FILE);
    struct stat info = {};
    check(fstat(file, &info) == 0, "the data file is there");
    return info;
}

void check_file_stayed()
{
    struct stat info = {};
    check(stat(NFZ_DATA_FILE, &info) == 0 && info.st_ino == look_at_file().st_ino, "the same file all the time");
}

bool file_is_empty()
{
    return look_at_file().st_size == 0;
}

void check_file()
{
    const struct stat info = look_at_file();
    const upgrade_desc_t* desc = get_upgrade_desc();
    check(desc->saved_firmware_size_ <= desc->firmware_size_, "no more saved than announced");
    const upgrade_state_t state = upgrade_get_state(desc);
    check(state <= UPGRADE_STATE_SUCCESS, "a known state");
    if (state == UPGRADE_STATE_DATA || state == UPGRADE_STATE_END || state == UPGRADE_STATE_SUCCESS) {
        check(info.st_size == desc->saved_firmware_size_, "the file has what was counted");
    }
    if (state == UPGRADE_STATE_FAIL) check(info.st_size == 0, "nothing is left of a failed upgrade");
}

void MotorRules::sees(const record_t& request)
{
    if (request.to != HOST_NFZ_UPGRADE) return;
    if (request.set == SET_COMMON && request.id == ID_UPGRADE_ENTRY) asked_by_app_ = request.from >> 8 == HOST_APP >> 8;
    const bool answer = request.set == SET_FLIGHT_CONTROLLER && request.id == ID_REGISTER_MOTOR_ERR &&
                        (request.attrib & ATTRIB_REPLY) != 0;
    if (answer && request.payload.size() >= sizeof(vela_fc_set_register_motor_ext_err_rsp))
        registered_ = request.payload[0] == 0;
}

void MotorRules::check(bool held, size_t ticks, const std::vector<record_t>& sent) const
{
    static constexpr size_t STATUS_AT =
        offsetof(vela_fc_set_set_motor_ext_err_req, motor_ext_err_status) + sizeof(uint8_t);
    size_t orders = 0;
    for (const record_t& record : sent) {
        if (record.set != SET_FLIGHT_CONTROLLER || record.id != ID_SET_MOTOR_ERR) continue;
        ::check(record.payload[STATUS_AT] == (held ? MOTOR_DISABLE : MOTOR_ENABLE),
                "the order that the state asks for");
        ++orders;
    }
    const bool ordered = held ? asked_by_app_ : registered_;
    ::check(orders == (ordered ? ticks : 0), "one order a tick");
}

void check_heartbeats(const std::vector<record_t>& sent)
{
    for (const record_t& record : sent) {
        if (record.set != SET_AFQT || record.id != CMD_ID_AFQT_MSG || record.payload[0] != MSG_ID_HEART_BEAT) continue;
        check(record.payload.size() == sizeof(afqt_heart_beat_msg_t), "a whole heartbeat");
        check(record.payload[1] <= kStaErrSta && record.payload[1] != 5, "a state that a heartbeat may name");
    }
}
