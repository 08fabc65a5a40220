#include "app/tfr_sender.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace peers {
namespace {

constexpr code_meaning_t CANCELLED = {transfer_outcome::cancelled, "the transfer was stopped here",
                                      "The service waits for the rest and keeps the areas it knows: send again."};

constexpr code_meaning_t FINISH_LOST = {
    transfer_outcome::verification,
    "the answer to the finish request was lost, and the aircraft does not have the file",
    "What it stored does not match the digest, or the file is empty: send again."};

constexpr code_meaning_t LEFT_OVER_BYTES = {
    transfer_outcome::far_disk,
    "the aircraft could not write a fragment at first, and a part of it stayed in the stored file",
    "Its stored file is empty now. Make room in /tmp/EMMC, look at the service's log, send again."};

}  // namespace

kest_result_t TfrSender::begin(tfr_job_t job)
{
    const uint16_t bound = job.options.max_block;
    const uint64_t fragment = bound != 0 ? std::min<uint64_t>(bound, TFR_LARGEST_FRAGMENT) : TFR_LARGEST_FRAGMENT;
    if (job.file.empty()) return -EINVAL;
    if (job.file.size() > TFR_MAX_FRAGMENTS * fragment) return -EFBIG;
    lock_t lock(mutex_);
    if (!idle()) return -EALREADY;
    uid_ = tfr_uid_of(job.file);
    force_ = job.options.force;
    write_failed_ = false;
    confirms_ = 0;
    open({std::move(job.file), job.options, std::move(job.progress), std::move(job.done)});
    ask_start(lock, transfer_stage::start);
    return 0;
}

// Also ends a transfer that somebody left half-way; the stored file stays as it is.
void TfrSender::ask_start(lock_t& lock, transfer_stage stage)
{
    static constexpr update_tfr_req_t START = {UPDATE_REQ, 0, 0, 0};
    ask(lock, stage, {SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE, bytes_of(START)});
}

void TfrSender::on_answer(lock_t& lock, bytes_view payload)
{
    update_tfr_rsp_t answer;
    if (!read_record(payload, answer)) return fail_unexpected(lock, "the answer of the service is too short");
    result_.code = answer.ack;
    switch (stage_) {
        case transfer_stage::start:
            return on_start(lock, answer);
        case transfer_stage::blocks:
            return on_fragment(lock, answer);
        case transfer_stage::end:
            return on_end(lock, answer.ack);
        case transfer_stage::confirm:
            return on_confirm(lock, answer);
        default:
            return;
    }
}

void TfrSender::on_silence(lock_t& lock, kest_result_t result)
{
    // Asking again to finish would find nothing to finish, which empties the file: ask for its uid instead.
    if (stage_ == transfer_stage::end && result == -ETIMEDOUT && uid_) {
        return ask_start(lock, transfer_stage::confirm);
    }
    NumberedTransfer::on_silence(lock, result);
}

code_meaning_t TfrSender::meaning_of(uint8_t code) const
{
    return explain_tfr_code(stage_, code);
}

code_meaning_t TfrSender::cancelled() const
{
    return CANCELLED;
}

bool TfrSender::has_our_uid(const update_tfr_rsp_t& answer) const
{
    return uid_ && answer.type == TFR_UID && std::equal(uid_->begin(), uid_->end(), answer.uid);
}

void TfrSender::on_start(lock_t& lock, const update_tfr_rsp_t& answer)
{
    if (answer.ack != TFR_UPDATE_SUCCESS) return fail(lock, meaning_of(answer.ack), answer.ack);
    if (force_ || !has_our_uid(answer)) return send_blocks(lock, TFR_LARGEST_FRAGMENT);
    result_.already_there = true;
    succeed(lock, "the aircraft has this file already");
}

void TfrSender::send_block(lock_t& lock, int64_t number, bytes_view data)
{
    const update_tfr_req_t head = {UPDATE_DATA, static_cast<uint16_t>(number), static_cast<uint32_t>(job_->file.size()),
                                   static_cast<uint8_t>(data.size())};
    std::array<uint8_t, sizeof head + TFR_LARGEST_FRAGMENT> payload;
    std::memcpy(payload.data(), &head, sizeof head);
    std::copy(data.begin(), data.end(), payload.data() + sizeof head);
    const bytes_view request(payload.data(), sizeof head + data.size());
    ask(lock, transfer_stage::blocks, {SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE, request});
}

void TfrSender::on_fragment(lock_t& lock, const update_tfr_rsp_t& answer)
{
    if (answer.type != TFR_NEXT_SET) {
        return answer.ack == TFR_UPDATE_SUCCESS ? fail_unexpected(lock, "the service does not say how far it is")
                                                : fail(lock, meaning_of(answer.ack), answer.ack);
    }
    // The number behind fragment 65535 is 0.
    const bool behind_this = answer.seq == static_cast<uint16_t>(next_block_ + 1);
    if (answer.ack == TFR_UPDATE_SUCCESS && behind_this) return resume_at(lock, next_block_ + 1);
    // A yes to another fragment than was sent is no progress: the service is somewhere else.
    const uint8_t code = answer.ack == TFR_UPDATE_SUCCESS ? uint8_t{TFR_UPDATE_SEQ_NOT_CONTINUE} : answer.ack;
    on_fragment_refused(lock, code, answer.seq);
}

void TfrSender::on_fragment_refused(lock_t& lock, uint8_t code, uint16_t expected)
{
    // The last fragment was taken, its answer lost, and the resent one comes when all are there.
    const bool complete = expected == static_cast<uint16_t>(block_count_) && next_block_ == block_count_ - 1;
    if (code == TFR_UPDATE_STATE_ERROR && complete && sends_ > 1) return resume_at(lock, block_count_);
    const bool may_pass = code == TFR_UPDATE_SEQ_NOT_CONTINUE || code == TFR_UPDATE_SAVE_DATA_FAIL;
    if (!may_pass) return fail(lock, meaning_of(code), code);
    if (expected > block_count_) return fail_unexpected(lock, "the service counts fragments that were never sent");
    if (code == TFR_UPDATE_SAVE_DATA_FAIL) write_failed_ = true;
    resume_after_refusal(lock, expected, code, code == TFR_UPDATE_SAVE_DATA_FAIL);
}

void TfrSender::send_end(lock_t& lock)
{
    static constexpr update_tfr_req_t FINISH = {UPDATE_FINISH, 0, 0, 0};
    ask(lock, transfer_stage::end, {SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE, bytes_of(FINISH), 1});
}

void TfrSender::on_end(lock_t& lock, uint8_t code)
{
    if (code == TFR_UPDATE_SUCCESS) return succeed(lock, "the aircraft has verified the file and uses it");
    if (code == TFR_UPDATE_MD5_CHECK_FAIL && write_failed_) return fail(lock, LEFT_OVER_BYTES, code);
    fail(lock, meaning_of(code), code);
}

void TfrSender::on_confirm(lock_t& lock, const update_tfr_rsp_t& answer)
{
    if (has_our_uid(answer)) return succeed(lock, "the aircraft has the file, though its last answer was lost");
    // If the finish request itself was lost, the first question ends the transfer and gets no uid. The next one does.
    if (++confirms_ < 2) return ask_start(lock, transfer_stage::confirm);
    fail(lock, FINISH_LOST, answer.ack);
}

void TfrSender::succeed(lock_t& lock, const char* what)
{
    result_.outcome = transfer_outcome::done;
    result_.stage = stage_;
    result_.what = what;
    finish(lock);
}

}  // namespace peers
