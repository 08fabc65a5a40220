#include "soak/judge.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <utility>

#include "common/digest.h"
#include "flight_v1_wire.h"
#include "tfr_wire.h"
#include "upgrade_wire.h"

namespace sim {
namespace {

constexpr const char* DATABASE = "/tmp/NFZ/nfz.bin";
constexpr const char* AREAS = "/tmp/EMMC/nfz_tfr.bin";
constexpr std::string_view SILENCE_TEXT = "too long time not receive one packet for upgrade, timeout:";
constexpr std::string_view DAMAGE_TEXT = "ERROR: md5 check fail, tfr file is not ok";
constexpr uint64_t SILENCE_US = 20'000'000;
constexpr uint64_t SILENCE_NOTICED_US = 21'000'000;  // by a tick in each half second, however late

constexpr uint32_t message(uint8_t set, uint8_t id)
{
    return static_cast<uint32_t>(set) << 16 | id;
}

constexpr uint32_t END = message(SET_COMMON, ID_UPGRADE_END);
constexpr uint32_t READ = message(SET_FLYLIMIT, ID_NFZ_READ);

bytes_t file_bytes(const char* path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Without numbers, by which a seed that is cut down stays with the same fault.
std::string request_text(uint32_t msg_id)
{
    switch (msg_id) {
        case message(SET_COMMON, ID_UPGRADE_ENTRY):
            return "an entry";
        case message(SET_COMMON, ID_UPGRADE_START):
            return "a start";
        case message(SET_COMMON, ID_UPGRADE_DATA):
            return "a block";
        case END:
            return "an end";
        case READ:
            return "a read";
        default:
            return "a request of a delivery";
    }
}

// A range read has up to 275 bytes; what went wrong is mostly seen in the first.
std::string answer_text(peers::bytes_view answer)
{
    constexpr size_t SHOWN = 24;
    if (answer.size() <= SHOWN) return peers::hex_text(answer);
    return peers::hex_text(answer.first(SHOWN)) + "... (" + std::to_string(answer.size()) + " bytes)";
}

}  // namespace

void Judge::check(bool holds, const std::string& what)
{
    if (!holds && broken_.empty()) broken_ = what;
}

void Judge::on_service_launched()
{
    asked_.reset();
    model_.restarts();
    files_are_due_ = true;
}

// The service handles it, whether or not its answer gets anywhere.
void Judge::on_received(uint16_t host, const kest_event_t& event, uint64_t now_us)
{
    if (host != HOST_FLIGHT_SERVICE && host != HOST_NFZ_UPGRADE) return;
    check_replied();
    const bytes_t payload(event.msg_buf, event.msg_buf + event.msg_len);
    auto answer = model_.answer(host, event.peer_host, event.msg_id, payload);
    if (!answer) return;
    const bool waits = ((event.attrib >> ATTRIB_NEED_ACK_SHIFT) & ATTRIB_NEED_ACK_MASK) != 0;
    asked_ = {host, event.msg_id, event.seq_id, waits, std::move(*answer)};
    files_are_due_ = true;
    if (host == HOST_NFZ_UPGRADE && event.msg_id != READ) upgrade_asked_us_ = now_us;
}

void Judge::on_handed_over(const handed_over_t& record)
{
    if (record.kind == send_kind::reply) return check_reply(record);
    // Areas are pushed once a second, of whatever the reader makes of them.
    if (record.from.host == HOST_FLIGHT_SERVICE && record.head.msg_id == message(SET_FLYLIMIT, ID_TFR_PUSH))
        files_are_due_ = true;
}

// A reply goes out within the handler of its request.
void Judge::check_reply(const handed_over_t& reply)
{
    const bool ours = asked_ && asked_->service == reply.from.host && asked_->msg_id == reply.head.msg_id &&
                      asked_->seq_id == reply.head.seq_id;
    if (!ours) return;
    asked_->waits = false;
    const peers::bytes_view found(static_cast<const uint8_t*>(reply.payload), reply.length);
    const bytes_t& wanted = asked_->answer;
    const bool same = std::equal(found.begin(), found.end(), wanted.begin(), wanted.end());
    check(same, "I9: " + request_text(asked_->msg_id) + " is answered " + answer_text(found) + " instead of " +
                    answer_text(wanted));
    // What was verified is one database from end to end.
    const bool accepted = asked_->msg_id == END && reply.length > 0 && found[0] == UPGRADE_RET_OK;
    const bool ever_sent = std::find(databases_.begin(), databases_.end(), model_.upgrade.file()) != databases_.end();
    check(!accepted || ever_sent, "I2: a database is accepted that nobody sent");
}

// The handlers wait for nobody, so that the answer is out before anything else happens.
void Judge::check_replied()
{
    if (asked_) check(!asked_->waits, "I9: " + request_text(asked_->msg_id) + " is not answered");
    asked_.reset();
}

void Judge::on_log_line(std::string_view text, uint64_t now_us)
{
    if (text.starts_with(DAMAGE_TEXT)) model_.areas.is_read();
    if (!text.starts_with(SILENCE_TEXT)) return;
    check(model_.upgrade.is_running(), "I10: silence without an upgrade");
    check(now_us > upgrade_asked_us_ + SILENCE_US, "I10: an upgrade is given up too early");
    model_.upgrade.falls_silent();
}

void Judge::on_event(uint64_t now_us)
{
    check_replied();
    check_silence(now_us);
    check_files();
}

void Judge::check_silence(uint64_t now_us)
{
    if (!model_.upgrade.is_running() || now_us <= upgrade_asked_us_ + SILENCE_NOTICED_US) return;
    check(false, "I10: an upgrade is not given up after 21 s of silence");
}

// On the disk is what was delivered so far. A file that is missing is as good as an empty one.
void Judge::check_files()
{
    if (!std::exchange(files_are_due_, false)) return;
    check_file(DATABASE, model_.upgrade.file());
    check_file(AREAS, model_.areas.file());
}

void Judge::check_file(const char* path, const bytes_t& wanted)
{
    const bytes_t found = file_bytes(path);
    check(found == wanted, "I2: " + std::string(path) + " has " + std::to_string(found.size()) +
                               " bytes, or others, instead of " + std::to_string(wanted.size()));
}

}  // namespace sim
