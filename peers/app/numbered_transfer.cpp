#include "app/numbered_transfer.h"

#include <algorithm>
#include <utility>

#include "common/clock.h"
#include "flight_v1_wire.h"

namespace peers {
namespace {

constexpr uint64_t PACE_US = 50'000;  // pause of a sender that is ahead of its pace

bool is_unknown_command(bytes_view payload)
{
    return payload.size() == 1 && payload[0] == REPLY_UNKNOWN_COMMAND;
}

}  // namespace

void NumberedTransfer::cancel()
{
    lock_t lock(mutex_);
    if (!idle() && stage_ != transfer_stage::withdraw) fail(lock, cancelled(), 0);
}

void NumberedTransfer::open(transfer_job_t job)
{
    job_ = std::make_shared<const transfer_job_t>(std::move(job));
    run_++;
    result_ = {};
    block_size_ = 0;
    block_count_ = next_block_ = taken_blocks_ = 0;
    refusals_ = 0;
    start_us_ = now_us();
}

void NumberedTransfer::ask(lock_t& lock, transfer_stage stage, const question_t& question)
{
    stage_ = stage;
    const transfer_options_t& options = job_->options;
    const request_t request = {options.target,
                               question.set,
                               question.id,
                               question.payload,
                               options.reply_timeout_us,
                               question.tries != 0 ? question.tries : options.tries,
                               this};
    const kest_result_t result =
        endpoint_.request(request, [this, run = run_](const reply_t& reply) { answered(run, reply); });
    if (result != 0) on_silence(lock, result);
}

void NumberedTransfer::answered(uint64_t run, const reply_t& reply)
{
    lock_t lock(mutex_);
    if (run != run_ || idle()) return;
    sends_ = reply.sends;
    result_.resends += reply.sends - 1;
    if (reply.result != 0) return on_silence(lock, reply.result);
    const bytes_view payload = payload_of(*reply.event);
    if (stage_ != transfer_stage::withdraw && is_unknown_command(payload)) {
        return fail(lock, meaning_of(REPLY_UNKNOWN_COMMAND), REPLY_UNKNOWN_COMMAND);
    }
    on_answer(lock, payload);
}

void NumberedTransfer::on_silence(lock_t& lock, kest_result_t result)
{
    fail(lock, explain_silence(result), 0);
}

void NumberedTransfer::send_blocks(lock_t& lock, uint32_t granted)
{
    const uint16_t bound = job_->options.max_block;
    block_size_ = bound != 0 ? std::min<uint32_t>(granted, bound) : granted;
    const auto size = static_cast<int64_t>(job_->file.size());
    block_count_ = std::max<int64_t>(1, (size + block_size_ - 1) / block_size_);
    send_next_block(lock);
}

void NumberedTransfer::send_next_block(lock_t& lock)
{
    stage_ = transfer_stage::blocks;
    if (next_block_ >= block_count_) return send_end(lock);
    if (ahead_of_pace()) return go_on_later(lock, PACE_US);
    const bytes_view file = job_->file;
    const size_t from = static_cast<size_t>(next_block_) * block_size_;
    send_block(lock, next_block_, file.subspan(from, std::min<size_t>(block_size_, file.size() - from)));
}

void NumberedTransfer::resume_at(lock_t& lock, int64_t block)
{
    next_block_ = block;
    const bool progress = block > taken_blocks_;
    if (progress) {
        taken_blocks_ = block;
        refusals_ = 0;
    }
    send_next_block(lock);
    if (progress && lock.owns_lock()) report_progress(lock);
}

void NumberedTransfer::resume_after_refusal(lock_t& lock, int64_t block, uint8_t code, bool wait)
{
    if (++refusals_ >= job_->options.tries) return fail(lock, meaning_of(code), code);
    result_.resends++;
    if (!wait) return resume_at(lock, block);
    next_block_ = block;
    go_on_later(lock, job_->options.reply_timeout_us);
}

void NumberedTransfer::report_progress(lock_t& lock)
{
    const std::shared_ptr<const transfer_job_t> job = job_;
    if (!job->progress) return;
    const transfer_progress_t progress = {bytes_taken(), job->file.size(), static_cast<uint32_t>(taken_blocks_),
                                          result_.resends, now_us() - start_us_};
    lock.unlock();
    job->progress(progress);
}

bool NumberedTransfer::ahead_of_pace() const
{
    const uint64_t rate = job_->options.bytes_per_second;
    if (rate == 0) return false;
    const double allowed = static_cast<double>(rate) * static_cast<double>(now_us() - start_us_) / 1e6;
    return static_cast<double>(next_block_) * block_size_ > allowed;
}

uint64_t NumberedTransfer::bytes_taken() const
{
    return std::min<uint64_t>(static_cast<uint64_t>(taken_blocks_) * block_size_, job_->file.size());
}

void NumberedTransfer::go_on_later(lock_t& lock, uint64_t delay_us)
{
    const kest_result_t result = endpoint_.call_later(delay_us, [this, run = run_] { go_on(run); });
    if (result != 0) fail(lock, explain_silence(result), 0);
}

void NumberedTransfer::go_on(uint64_t run)
{
    lock_t lock(mutex_);
    if (run == run_ && stage_ == transfer_stage::blocks) send_next_block(lock);
}

void NumberedTransfer::fail_unexpected(lock_t& lock, const char* what)
{
    fail(lock, {transfer_outcome::unexpected, what, "Compare the versions of app and service."}, 0);
}

// A block of a transfer that was given up must not go out again: the next transfer may just wait for its number.
void NumberedTransfer::fail(lock_t& lock, const code_meaning_t& meaning, uint8_t code)
{
    endpoint_.drop(this);
    result_.outcome = meaning.outcome;
    result_.stage = stage_;
    result_.code = code;
    result_.what = meaning.what;
    result_.next = meaning.next;
    if (stage_ == transfer_stage::blocks && taken_blocks_ > 0) {
        result_.what += " (after " + std::to_string(taken_blocks_) + " of " + std::to_string(block_count_) + " blocks)";
    }
    on_failure(lock);
}

void NumberedTransfer::finish(lock_t& lock)
{
    result_.bytes = bytes_taken();
    result_.blocks = static_cast<uint32_t>(taken_blocks_);
    result_.elapsed_us = now_us() - start_us_;
    stage_ = transfer_stage::idle;
    run_++;
    const transfer_result_t result = result_;
    const std::shared_ptr<const transfer_job_t> job = std::move(job_);
    lock.unlock();
    if (job->done) job->done(result);
}

}  // namespace peers
