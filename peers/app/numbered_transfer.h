// A file on its way to the service in numbered blocks: what all such transfers have in common. One request is under way
// at a time, and the next one leaves from the callback of the answer. A lost or refused block is resumed from where the
// service says it is.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "app/transfer_result.h"
#include "common/bus_endpoint.h"

namespace peers {

struct transfer_options_t {
    uint16_t target = 0;
    uint32_t reply_timeout_us = 1'000'000;
    uint32_t tries = 5;             // sends of one request, and refusals in a row without progress, before giving up
    uint64_t bytes_per_second = 0;  // at most; 0: as fast as the service answers
    uint16_t max_block = 0;         // data bytes per block, if less than the protocol grants; 0: what it grants
};

struct transfer_job_t {
    std::vector<uint8_t> file;
    transfer_options_t options = {};
    std::function<void(const transfer_progress_t&)> progress = {};  // after each accepted block; may be empty
    std::function<void(const transfer_result_t&)> done = {};        // exactly once; may be empty
};

// `progress` and `done` run without a lock, on the endpoint's task or its timer's thread; `done` also within the start
// of a transfer (nobody listens) and within cancel().
class NumberedTransfer {
public:
    NumberedTransfer(const NumberedTransfer&) = delete;
    NumberedTransfer& operator=(const NumberedTransfer&) = delete;

    // Ends the transfer under way, if any, as "cancelled".
    void cancel();

protected:
    using lock_t = std::unique_lock<std::mutex>;
    struct question_t {
        uint8_t set;
        uint8_t id;
        bytes_view payload;
        uint32_t tries = 0;  // 0: as many as the options say
    };

    explicit NumberedTransfer(BusEndpoint& endpoint) : endpoint_(endpoint) {}
    virtual ~NumberedTransfer() = default;

    // What a transfer is made of. All run under the lock, which is gone on return if the transfer has ended.
    virtual void on_answer(lock_t& lock, bytes_view payload) = 0;
    virtual void on_silence(lock_t& lock, kest_result_t result);  // fails, unless overridden
    virtual void send_block(lock_t& lock, int64_t number, bytes_view data) = 0;
    virtual void send_end(lock_t& lock) = 0;                    // all blocks are accepted
    virtual void on_failure(lock_t& lock) { finish(lock); }     // the result says why
    virtual code_meaning_t meaning_of(uint8_t code) const = 0;  // at the present stage
    virtual code_meaning_t cancelled() const = 0;

    // Begins a transfer; the caller has made sure that none is under way.
    void open(transfer_job_t job);
    bool idle() const { return stage_ == transfer_stage::idle; }

    void ask(lock_t& lock, transfer_stage stage, const question_t& question);
    void send_blocks(lock_t& lock, uint32_t granted);  // bytes per block, not 0
    // Goes on with that block. More than were ever accepted counts as progress.
    void resume_at(lock_t& lock, int64_t block);
    // A refusal that may pass: goes on at `block`, at once or a time-out later, or gives up after too many.
    void resume_after_refusal(lock_t& lock, int64_t block, uint8_t code, bool wait);
    void fail(lock_t& lock, const code_meaning_t& meaning, uint8_t code);
    void fail_unexpected(lock_t& lock, const char* what);
    void finish(lock_t& lock);

    std::mutex mutex_;
    // Everything below is guarded by the mutex.
    std::shared_ptr<const transfer_job_t> job_;  // shared with a callback that is just running
    transfer_stage stage_ = transfer_stage::idle;
    uint64_t run_ = 0;  // number of the transfer; answers that belong to an earlier one are dropped
    transfer_result_t result_;
    uint32_t sends_ = 0;  // of the request that was just answered
    int64_t block_count_ = 0;
    int64_t next_block_ = 0;    // the one under way, or to be sent next
    int64_t taken_blocks_ = 0;  // most that the service ever confirmed: the measure of progress

private:
    void answered(uint64_t run, const reply_t& reply);
    void send_next_block(lock_t& lock);
    void go_on_later(lock_t& lock, uint64_t delay_us);
    void go_on(uint64_t run);
    void report_progress(lock_t& lock);
    bool ahead_of_pace() const;
    uint64_t bytes_taken() const;

    BusEndpoint& endpoint_;
    // Guarded by the mutex, too.
    uint64_t start_us_ = 0;
    uint32_t block_size_ = 0;
    uint32_t refusals_ = 0;  // since the last progress
};

}  // namespace peers
