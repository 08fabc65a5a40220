#include "soak/watch.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "afqt_wire.h"
#include "flight_v1_wire.h"
#include "upgrade_wire.h"

namespace sim {
namespace {

constexpr const char* DATABASE = "/tmp/NFZ/nfz.bin";
constexpr uint64_t HOLD_PERIOD_US = 500'000;
constexpr uint64_t HOLD_SLACK_US = 200'000;

constexpr uint32_t message(uint8_t set, uint8_t id)
{
    return static_cast<uint32_t>(set) << 16 | id;
}

constexpr uint32_t ENTRY = message(SET_COMMON, ID_UPGRADE_ENTRY);
constexpr uint32_t DATA = message(SET_COMMON, ID_UPGRADE_DATA);
constexpr uint32_t END = message(SET_COMMON, ID_UPGRADE_END);
constexpr uint32_t READ = message(SET_FLYLIMIT, ID_NFZ_READ);
constexpr uint32_t HOLD = message(SET_FLIGHT_CONTROLLER, ID_SET_MOTOR_ERR);
constexpr uint32_t STICKS = message(SET_FLIGHT_CONTROLLER, CMD_ID_CTRL_DATA);
constexpr uint32_t EXTERNAL = message(SET_FLIGHT_CONTROLLER, CMD_ID_MISSION_ONOFF);
constexpr uint32_t SWITCH = message(SET_AFQT, CMD_ID_AFQT_CMD);

bool is_service(uint16_t host)
{
    return host == HOST_FLIGHT_SERVICE || host == HOST_NFZ_UPGRADE;
}

bool is_app(uint16_t host)
{
    return host >> 8 == HOST_APP >> 8;
}

// Of every reply that the service gives.
bool is_known_length(uint32_t length)
{
    static constexpr std::array<uint32_t, 8> LENGTHS = {1, 3, 5, 6, 18, 30, 61, 71};
    return std::find(LENGTHS.begin(), LENGTHS.end(), length) != LENGTHS.end() || (length >= 5 && length <= 275);
}

bool read_file_at(uint32_t address, uint8_t* room, size_t length)
{
    const int file = open(DATABASE, O_RDONLY | O_CLOEXEC);
    if (file < 0) return false;
    const ssize_t got = pread(file, room, length, address);
    close(file);
    return got == static_cast<ssize_t>(length);
}

}  // namespace

void Watch::check(bool holds, const std::string& what)
{
    if (!holds && broken_.empty()) broken_ = what;
}

void Watch::on_service_launched(uint64_t now_us)
{
    hold_since_us_ = now_us;
    asked_.reset();
}

// Its memory is gone: the next one holds nothing and flies nothing.
void Watch::on_service_killed()
{
    asked_.reset();
    in_upgrade_ = app_asked_ = false;
    external_control_ = false;
    test_on_ = false;
}

void Watch::on_received(uint16_t host, const kest_event_t& event)
{
    if (!is_service(host)) return;
    const bool wants_reply = ((event.attrib >> ATTRIB_NEED_ACK_SHIFT) & ATTRIB_NEED_ACK_MASK) != 0;
    asked_ = {host, event.peer_host, event.msg_id, event.seq_id, wants_reply, 0};
    // Whoever asked last, even wrongly, decides whether the motors are held.
    if (host == HOST_NFZ_UPGRADE && event.msg_id == ENTRY) expect_holding(in_upgrade_, is_app(event.peer_host));
    if (host == HOST_FLIGHT_SERVICE && event.msg_id == SWITCH && event.msg_len > 0 && event.msg_buf[0] == kAfqtOn)
        test_on_ = true;
}

void Watch::on_handed_over(const handed_over_t& record, uint64_t now_us)
{
    if (!is_service(record.from.host)) return;
    if (record.kind == send_kind::reply) return on_reply(record);
    on_message(record, now_us);
}

void Watch::expect_holding(bool in_upgrade, bool app_asked)
{
    const bool expected = is_hold_expected();
    in_upgrade_ = in_upgrade;
    app_asked_ = app_asked;
    if (!expected && is_hold_expected()) hold_since_us_ = 0;  // set by the next event
}

// A reply goes out within the handler of its request.
void Watch::on_reply(const handed_over_t& reply)
{
    const kest_event_t& request = reply.head;
    const uint16_t host = reply.from.host;
    const bool asked = asked_ && asked_->service == host && asked_->peer == request.peer_host &&
                       asked_->msg_id == request.msg_id && asked_->seq_id == request.seq_id;
    check(asked, "I7: a reply that nobody asked for");
    if (!asked) return;
    check(asked_->wants_reply, "I7: a reply that was not wanted");
    check(asked_->replies++ == 0, "I7: a second reply to one request");
    check(is_known_length(reply.length), "I7: a reply of " + std::to_string(reply.length) + " bytes");
    const bytes_view payload(static_cast<const uint8_t*>(reply.payload), reply.length);
    if (host != HOST_NFZ_UPGRADE || payload.empty()) return;
    on_upgrade_reply(request.msg_id, payload[0]);
    if (request.msg_id == READ) on_read_reply(payload);
}

// Motors are held from an accepted entry of an app until a success, or until a first block is refused. A refused end
// holds them as well, and leaves nothing on the disk.
void Watch::on_upgrade_reply(uint32_t msg_id, uint8_t code)
{
    if (msg_id == ENTRY && code == 0) expect_holding(true, app_asked_);
    if (msg_id == DATA && (code == UPGRADE_RET_FIRST_SHORT || code == UPGRADE_RET_NOT_NEWER)) in_upgrade_ = false;
    if (msg_id != END) return;
    if (code == UPGRADE_RET_OK)
        in_upgrade_ = false;
    else
        expect_holding(true, app_asked_);
    struct stat info = {};
    const bool emptied = stat(DATABASE, &info) != 0 || info.st_size == 0;
    check(code == UPGRADE_RET_OK || emptied, "a refused end leaves " + std::to_string(info.st_size) + " bytes");
}

void Watch::on_read_reply(bytes_view payload)
{
    constexpr size_t HEAD = offsetof(upgrade_profile_read_file_ack_t, read_data);
    upgrade_profile_read_file_ack_t answer = {};
    std::memcpy(&answer, payload.data(), std::min(payload.size(), sizeof answer));
    if (answer.ret_code != PROFILE_RET_OK || payload.size() < HEAD) return;
    const size_t length = payload.size() - HEAD;
    uint8_t file[PROFILE_MAX_READ] = {};
    const bool same = length <= sizeof file && read_file_at(answer.read_addr, file, length) &&
                      std::memcmp(file, answer.read_data, length) == 0;
    check(same, "I3: an answer with other bytes than the file's at " + std::to_string(answer.read_addr));
}

void Watch::on_message(const handed_over_t& message, uint64_t now_us)
{
    const bytes_view payload(static_cast<const uint8_t*>(message.payload), message.length);
    switch (message.head.msg_id) {
        case HOLD:
            return on_hold_order(payload, now_us);
        case EXTERNAL:
            external_control_ = !payload.empty() && payload[0] == MIS_ON;
            return;
        case STICKS:
            check(test_on_, "sticks without a test");
            check(external_control_, "sticks without external control");
            return;
        default:
            return;
    }
}

void Watch::on_hold_order(bytes_view payload, uint64_t now_us)
{
    vela_fc_set_set_motor_ext_err_req order = {};
    std::memcpy(&order, payload.data(), std::min(payload.size(), sizeof order));
    const bool holds = order.motor_ext_err_status[0].status_to_set == MOTOR_DISABLE;
    check(holds || !is_hold_expected(), "I4: the motors are released during an upgrade");
    if (holds) hold_since_us_ = now_us;
}

void Watch::on_event(uint64_t now_us)
{
    if (hold_since_us_ == 0) hold_since_us_ = now_us;
    if (!is_hold_expected()) return;
    check(now_us <= hold_since_us_ + HOLD_PERIOD_US + HOLD_SLACK_US, "I4: no order to hold the motors for 0.7 s");
}

}  // namespace sim
