#include "app/upgrade_sender.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "upgrade_wire.h"

namespace peers {
namespace {

constexpr uint32_t LARGEST_BLOCK = KEST_EVENT_MAX_PAYLOAD - sizeof(upgrade_data_transfer_req_t);
constexpr code_meaning_t CANCELLED = {
    upgrade_outcome::cancelled, "the upgrade was stopped here",
    "The service drops it after 20 seconds of silence, installed database included: send a database again."};

constexpr const char* NOTHING_LEFT =
    "The service was told to drop what it had: the aircraft has no database and holds its motors until an upgrade "
    "succeeds.";

// An end request whose answer was lost is asked again, and finds a failed upgrade.
constexpr code_meaning_t END_ASKED_TWICE = {
    upgrade_outcome::verification,
    "the service refused the database; its first answer to the end request, with the reason, was lost",
    "The aircraft has no database now and holds its motors: check the file and send again."};

}  // namespace

kest_result_t UpgradeSender::begin(upgrade_job_t job)
{
    if (job.database.size() > NFZ_MAX_SIZE) return -EFBIG;
    const md5_digest_t digest = md5_of(job.database);
    lock_t lock(mutex_);
    if (!idle()) return -EALREADY;
    digest_ = digest;
    withdraw_on_failure_ = job.options.withdraw_on_failure;
    open({std::move(job.database), job.options, std::move(job.progress), std::move(job.done)});
    static constexpr std::array<uint8_t, UPGRADE_ENTRY_REQ_SIZE> NOTHING = {};
    ask(lock, upgrade_stage::entry, {SET_COMMON, ID_UPGRADE_ENTRY, NOTHING});
    return 0;
}

void UpgradeSender::on_answer(lock_t& lock, bytes_view payload)
{
    switch (stage_) {
        case upgrade_stage::entry:
            return on_entry(lock, payload);
        case upgrade_stage::start:
            return on_start(lock, payload);
        case upgrade_stage::blocks:
            return on_block(lock, payload);
        case upgrade_stage::end:
            return on_end(lock, payload);
        case upgrade_stage::withdraw:
            return finish(lock);
        default:
            return;
    }
}

void UpgradeSender::on_silence(lock_t& lock, kest_result_t result)
{
    if (stage_ == upgrade_stage::withdraw) return finish(lock);
    NumberedTransfer::on_silence(lock, result);
}

code_meaning_t UpgradeSender::meaning_of(uint8_t code) const
{
    return explain_code(stage_, code);
}

code_meaning_t UpgradeSender::cancelled() const
{
    return CANCELLED;
}

void UpgradeSender::on_entry(lock_t& lock, bytes_view payload)
{
    upgrade_request_entry_ack_t ack;
    if (!read_record(payload, ack)) return fail_unexpected(lock, "the answer to the entry request is too short");
    if (ack.ret_code != UPGRADE_RET_OK) return fail(lock, meaning_of(ack.ret_code), ack.ret_code);
    ask_start(lock);
}

void UpgradeSender::ask_start(lock_t& lock)
{
    upgrade_request_receive_req_t start = {};
    start.firmware_size = static_cast<uint32_t>(job_->file.size());
    start.transfer_type = 1;
    start.upgrade_type = 1;
    ask(lock, upgrade_stage::start, {SET_COMMON, ID_UPGRADE_START, bytes_of(start)});
}

void UpgradeSender::on_start(lock_t& lock, bytes_view payload)
{
    upgrade_request_receive_ack_t ack;
    if (!read_record(payload, ack)) return fail_unexpected(lock, "the answer to the start request is too short");
    if (ack.ret_code != UPGRADE_RET_OK) return fail(lock, meaning_of(ack.ret_code), ack.ret_code);
    if (ack.frag_length == 0) return fail_unexpected(lock, "the service grants blocks of 0 bytes");
    send_blocks(lock, std::min<uint32_t>(ack.frag_length, LARGEST_BLOCK));
}

void UpgradeSender::send_block(lock_t& lock, int64_t number, bytes_view data)
{
    const upgrade_data_transfer_req_t head = {0, static_cast<int32_t>(number), static_cast<uint16_t>(data.size())};
    std::array<uint8_t, KEST_EVENT_MAX_PAYLOAD> payload;
    std::memcpy(payload.data(), &head, sizeof head);
    std::copy(data.begin(), data.end(), payload.data() + sizeof head);
    const bytes_view request(payload.data(), sizeof head + data.size());
    ask(lock, upgrade_stage::blocks, {SET_COMMON, ID_UPGRADE_DATA, request});
}

void UpgradeSender::on_block(lock_t& lock, bytes_view payload)
{
    upgrade_data_transfer_ack_t ack;
    if (!read_record(payload, ack)) return fail_unexpected(lock, "the answer to a block is too short");
    const int64_t last = ack.block_number;
    if (last < -1 || last >= block_count_) {
        return fail_unexpected(lock, "the service counts blocks that were never sent");
    }
    result_.code = ack.ret_code;
    const bool taken = ack.ret_code == UPGRADE_RET_OK && last == next_block_;
    // A yes to another block than was sent is no progress: the service is somewhere else.
    const uint8_t code = ack.ret_code == UPGRADE_RET_OK ? uint8_t{UPGRADE_RET_BLOCK_NUMBER} : ack.ret_code;
    if (!taken) return on_block_refused(lock, code, last);
    resume_at(lock, last + 1);
}

void UpgradeSender::on_block_refused(lock_t& lock, uint8_t code, int64_t last)
{
    // The last block was taken, its answer lost, and the resent one comes when no block is expected any more.
    if (code == UPGRADE_RET_STATE && last == block_count_ - 1) return resume_at(lock, last + 1);
    if (code == UPGRADE_RET_BLOCK_NUMBER) return resume_after_refusal(lock, last + 1, code, false);
    if (code == UPGRADE_RET_NOT_WRITTEN) return resume_after_refusal(lock, next_block_, code, true);
    fail(lock, meaning_of(code), code);
}

void UpgradeSender::send_end(lock_t& lock)
{
    upgrade_end_req_t end = {};
    std::copy(digest_.begin(), digest_.end(), end.md5);
    ask(lock, upgrade_stage::end, {SET_COMMON, ID_UPGRADE_END, bytes_of(end)});
}

void UpgradeSender::on_end(lock_t& lock, bytes_view payload)
{
    upgrade_end_ack_t ack;
    if (!read_record(payload, ack)) return fail_unexpected(lock, "the answer to the end request is empty");
    if (ack.ret_code == UPGRADE_RET_STATE && sends_ > 1) return fail(lock, END_ASKED_TWICE, ack.ret_code);
    if (ack.ret_code != UPGRADE_RET_OK) return fail(lock, meaning_of(ack.ret_code), ack.ret_code);
    result_.outcome = upgrade_outcome::done;
    result_.stage = stage_;
    result_.code = ack.ret_code;
    result_.what = "the aircraft has verified and installed the database";
    finish(lock);
}

void UpgradeSender::on_failure(lock_t& lock)
{
    const bool partial = stage_ == upgrade_stage::blocks && taken_blocks_ > 0;
    if (partial && withdraw_on_failure_) return withdraw(lock);
    finish(lock);
}

// An early end request is refused, and the refusal empties the file: that is what is wanted here.
void UpgradeSender::withdraw(lock_t& lock)
{
    static constexpr upgrade_end_req_t GIVE_UP = {};
    run_++;  // the answer to a block that is still under way is no answer to this
    result_.next = NOTHING_LEFT;
    ask(lock, upgrade_stage::withdraw, {SET_COMMON, ID_UPGRADE_END, bytes_of(GIVE_UP)});
}

}  // namespace peers
