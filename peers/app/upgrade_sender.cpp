#include "app/upgrade_sender.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "common/clock.h"
#include "upgrade_wire.h"

namespace peers {
namespace {

constexpr uint32_t LARGEST_BLOCK = KEST_EVENT_MAX_PAYLOAD - sizeof(upgrade_data_transfer_req_t);
constexpr uint64_t PACE_US = 50'000;  // pause of a sender that is ahead of its pace
constexpr code_meaning_t CANCELLED = {
    upgrade_outcome::cancelled, "the upgrade was stopped here",
    "The service drops it after 20 seconds of silence, installed database included: send a database again."};

constexpr const char* NOTHING_LEFT =
    "The service was told to drop what it had: the aircraft has no database and holds its motors until an upgrade "
    "succeeds.";

bool is_unknown_command(bytes_view payload)
{
    return payload.size() == 1 && payload[0] == REPLY_UNKNOWN_COMMAND;
}

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
    if (stage_ != upgrade_stage::idle) return -EALREADY;
    job_ = std::make_shared<const upgrade_job_t>(std::move(job));
    run_++;
    digest_ = digest;
    result_ = {};
    next_block_ = taken_blocks_ = 0;
    refusals_ = 0;
    start_us_ = now_us();
    static constexpr std::array<uint8_t, UPGRADE_ENTRY_REQ_SIZE> NOTHING = {};
    ask(lock, upgrade_stage::entry, ID_UPGRADE_ENTRY, NOTHING);
    return 0;
}

void UpgradeSender::cancel()
{
    lock_t lock(mutex_);
    if (stage_ != upgrade_stage::idle && stage_ != upgrade_stage::withdraw) fail(lock, CANCELLED, 0);
}

void UpgradeSender::ask(lock_t& lock, upgrade_stage stage, uint8_t id, bytes_view payload)
{
    stage_ = stage;
    const upgrade_options_t& options = job_->options;
    const request_t request = {options.target, SET_COMMON, id, payload, options.reply_timeout_us, options.tries};
    const kest_result_t result =
        endpoint_.request(request, [this, run = run_](const reply_t& reply) { answered(run, reply); });
    if (result == 0) return;
    if (stage == upgrade_stage::withdraw) return finish(lock);
    fail(lock, explain_silence(result), 0);
}

void UpgradeSender::answered(uint64_t run, const reply_t& reply)
{
    lock_t lock(mutex_);
    if (run != run_ || stage_ == upgrade_stage::idle) return;
    sends_ = reply.sends;
    result_.resends += reply.sends - 1;
    if (stage_ == upgrade_stage::withdraw) return finish(lock);
    if (reply.result != 0) return fail(lock, explain_silence(reply.result), 0);
    const bytes_view payload = payload_of(*reply.event);
    if (is_unknown_command(payload)) {
        return fail(lock, explain_code(stage_, REPLY_UNKNOWN_COMMAND), REPLY_UNKNOWN_COMMAND);
    }
    dispatch(lock, payload);
}

void UpgradeSender::dispatch(lock_t& lock, bytes_view payload)
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
        default:
            return;
    }
}

void UpgradeSender::on_entry(lock_t& lock, bytes_view payload)
{
    upgrade_request_entry_ack_t ack;
    if (!read_record(payload, ack)) return fail_unexpected(lock, "the answer to the entry request is too short");
    if (ack.ret_code != UPGRADE_RET_OK) return fail(lock, explain_code(stage_, ack.ret_code), ack.ret_code);
    ask_start(lock);
}

void UpgradeSender::ask_start(lock_t& lock)
{
    upgrade_request_receive_req_t start = {};
    start.firmware_size = static_cast<uint32_t>(job_->database.size());
    start.transfer_type = 1;
    start.upgrade_type = 1;
    ask(lock, upgrade_stage::start, ID_UPGRADE_START, bytes_of(start));
}

void UpgradeSender::on_start(lock_t& lock, bytes_view payload)
{
    upgrade_request_receive_ack_t ack;
    if (!read_record(payload, ack)) return fail_unexpected(lock, "the answer to the start request is too short");
    if (ack.ret_code != UPGRADE_RET_OK) return fail(lock, explain_code(stage_, ack.ret_code), ack.ret_code);
    if (ack.frag_length == 0) return fail_unexpected(lock, "the service grants blocks of 0 bytes");
    block_size_ = std::min<uint32_t>(ack.frag_length, LARGEST_BLOCK);
    if (job_->options.max_block != 0) block_size_ = std::min<uint32_t>(block_size_, job_->options.max_block);
    const auto size = static_cast<int64_t>(job_->database.size());
    block_count_ = std::max<int64_t>(1, (size + block_size_ - 1) / block_size_);
    ask_block(lock);
}

void UpgradeSender::ask_block(lock_t& lock)
{
    stage_ = upgrade_stage::blocks;
    if (all_taken()) return ask_end(lock);
    if (ahead_of_pace()) return go_on_later(lock, PACE_US);
    const std::vector<uint8_t>& database = job_->database;
    const size_t from = static_cast<size_t>(next_block_) * block_size_;
    const size_t size = std::min<size_t>(block_size_, database.size() - from);
    const upgrade_data_transfer_req_t head = {0, static_cast<int32_t>(next_block_), static_cast<uint16_t>(size)};
    std::array<uint8_t, KEST_EVENT_MAX_PAYLOAD> payload;
    std::memcpy(payload.data(), &head, sizeof head);
    std::copy_n(database.data() + from, size, payload.data() + sizeof head);
    ask(lock, upgrade_stage::blocks, ID_UPGRADE_DATA, bytes_view(payload.data(), sizeof head + size));
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
    const bool may_pass = code == UPGRADE_RET_BLOCK_NUMBER || code == UPGRADE_RET_NOT_WRITTEN;
    if (!may_pass || ++refusals_ >= job_->options.tries) return fail(lock, explain_code(stage_, code), code);
    result_.resends++;
    if (code == UPGRADE_RET_NOT_WRITTEN) return go_on_later(lock, job_->options.reply_timeout_us);
    resume_at(lock, last + 1);
}

void UpgradeSender::resume_at(lock_t& lock, int64_t block)
{
    next_block_ = block;
    const bool progress = block > taken_blocks_;
    if (progress) {
        taken_blocks_ = block;
        refusals_ = 0;
    }
    ask_block(lock);
    if (progress && lock.owns_lock()) report_progress(lock);
}

void UpgradeSender::report_progress(lock_t& lock)
{
    const std::shared_ptr<const upgrade_job_t> job = job_;
    if (!job->progress) return;
    const upgrade_progress_t progress = {bytes_taken(), job->database.size(), static_cast<uint32_t>(taken_blocks_),
                                         result_.resends, now_us() - start_us_};
    lock.unlock();
    job->progress(progress);
}

void UpgradeSender::ask_end(lock_t& lock)
{
    upgrade_end_req_t end = {};
    std::copy(digest_.begin(), digest_.end(), end.md5);
    ask(lock, upgrade_stage::end, ID_UPGRADE_END, bytes_of(end));
}

void UpgradeSender::on_end(lock_t& lock, bytes_view payload)
{
    upgrade_end_ack_t ack;
    if (!read_record(payload, ack)) return fail_unexpected(lock, "the answer to the end request is empty");
    if (ack.ret_code == UPGRADE_RET_STATE && sends_ > 1) return fail(lock, END_ASKED_TWICE, ack.ret_code);
    if (ack.ret_code != UPGRADE_RET_OK) return fail(lock, explain_code(stage_, ack.ret_code), ack.ret_code);
    result_.outcome = upgrade_outcome::done;
    result_.stage = stage_;
    result_.code = ack.ret_code;
    result_.what = "the aircraft has verified and installed the database";
    finish(lock);
}

bool UpgradeSender::ahead_of_pace() const
{
    const uint64_t rate = job_->options.bytes_per_second;
    if (rate == 0) return false;
    const double allowed = static_cast<double>(rate) * static_cast<double>(now_us() - start_us_) / 1e6;
    return static_cast<double>(next_block_) * block_size_ > allowed;
}

uint64_t UpgradeSender::bytes_taken() const
{
    return std::min<uint64_t>(static_cast<uint64_t>(taken_blocks_) * block_size_, job_->database.size());
}

void UpgradeSender::go_on_later(lock_t& lock, uint64_t delay_us)
{
    const kest_result_t result = endpoint_.call_later(delay_us, [this, run = run_] { go_on(run); });
    if (result != 0) fail(lock, explain_silence(result), 0);
}

void UpgradeSender::go_on(uint64_t run)
{
    lock_t lock(mutex_);
    if (run == run_ && stage_ == upgrade_stage::blocks) ask_block(lock);
}

void UpgradeSender::fail_unexpected(lock_t& lock, const char* what)
{
    fail(lock, {upgrade_outcome::unexpected, what, "Compare the versions of app and service."}, 0);
}

void UpgradeSender::fail(lock_t& lock, const code_meaning_t& meaning, uint8_t code)
{
    result_.outcome = meaning.outcome;
    result_.stage = stage_;
    result_.code = code;
    result_.what = meaning.what;
    result_.next = meaning.next;
    if (stage_ == upgrade_stage::blocks && taken_blocks_ > 0) {
        result_.what += " (after " + std::to_string(taken_blocks_) + " of " + std::to_string(block_count_) + " blocks)";
    }
    const bool partial = stage_ == upgrade_stage::blocks && taken_blocks_ > 0;
    if (partial && job_->options.withdraw_on_failure) return withdraw(lock);
    finish(lock);
}

// An early end request is refused, and the refusal empties the file: that is what is wanted here.
void UpgradeSender::withdraw(lock_t& lock)
{
    static constexpr upgrade_end_req_t GIVE_UP = {};
    run_++;  // the answer to a block that is still under way is no answer to this
    result_.next = NOTHING_LEFT;
    ask(lock, upgrade_stage::withdraw, ID_UPGRADE_END, bytes_of(GIVE_UP));
}

void UpgradeSender::finish(lock_t& lock)
{
    result_.bytes = bytes_taken();
    result_.blocks = static_cast<uint32_t>(taken_blocks_);
    result_.elapsed_us = now_us() - start_us_;
    stage_ = upgrade_stage::idle;
    run_++;
    const upgrade_result_t result = result_;
    const std::shared_ptr<const upgrade_job_t> job = std::move(job_);
    lock.unlock();
    job->done(result);
}

}  // namespace peers
