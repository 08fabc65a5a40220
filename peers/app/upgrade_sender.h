// The app's side of a database upgrade: entry, start, numbered blocks, end. One request is under way at a time, and the
// next one leaves from the callback of the answer. A lost or refused block is resumed from where the service says it
// is.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "app/upgrade_result.h"
#include "common/bus_endpoint.h"
#include "flight_v1_wire.h"
#include "nfz_file/nfz_file.h"

namespace peers {

struct upgrade_options_t {
    uint16_t target = HOST_NFZ_UPGRADE;
    uint32_t reply_timeout_us = 1'000'000;
    uint32_t tries = 5;             // sends of one request, and refusals in a row without progress, before giving up
    uint64_t bytes_per_second = 0;  // at most; 0: as fast as the service answers
    uint16_t max_block = 0;         // data bytes per block, if less than the service grants; 0: what it grants
    // On failure tell the service with an end request, which makes it drop what it has at once and hold the motors,
    // instead of after 20 s of silence. Only sent once a block was taken: before that it would cost the installed
    // database.
    bool withdraw_on_failure = false;
};

struct upgrade_job_t {
    std::vector<uint8_t> database;  // up to 4 GiB - 1
    upgrade_options_t options;
    std::function<void(const upgrade_progress_t&)> progress;  // after each accepted block; may be empty
    std::function<void(const upgrade_result_t&)> done;        // exactly once
};

// `progress` and `done` run without a lock, on the endpoint's task or its timer's thread; `done` also within begin()
// (nobody listens) and cancel().
class UpgradeSender {
public:
    explicit UpgradeSender(BusEndpoint& endpoint) : endpoint_(endpoint) {}
    UpgradeSender(const UpgradeSender&) = delete;
    UpgradeSender& operator=(const UpgradeSender&) = delete;

    // 0, or without any callback -EALREADY (one is under way), -EFBIG (database of 4 GiB or more).
    kest_result_t begin(upgrade_job_t job);

    // Ends the upgrade under way, if any, as "cancelled".
    void cancel();

private:
    using lock_t = std::unique_lock<std::mutex>;

    void ask(lock_t& lock, upgrade_stage stage, uint8_t id, bytes_view payload);
    void answered(uint64_t run, const reply_t& reply);
    void dispatch(lock_t& lock, bytes_view payload);
    void on_entry(lock_t& lock, bytes_view payload);
    void ask_start(lock_t& lock);
    void on_start(lock_t& lock, bytes_view payload);
    void ask_block(lock_t& lock);
    void on_block(lock_t& lock, bytes_view payload);
    void on_block_refused(lock_t& lock, uint8_t code, int64_t last);
    void resume_at(lock_t& lock, int64_t block);
    void report_progress(lock_t& lock);
    void ask_end(lock_t& lock);
    void on_end(lock_t& lock, bytes_view payload);
    bool all_taken() const { return next_block_ >= block_count_; }
    bool ahead_of_pace() const;
    void go_on_later(lock_t& lock, uint64_t delay_us);
    void go_on(uint64_t run);
    void withdraw(lock_t& lock);
    void fail(lock_t& lock, const code_meaning_t& meaning, uint8_t code);
    void fail_unexpected(lock_t& lock, const char* what);
    void finish(lock_t& lock);
    uint64_t bytes_taken() const;

    BusEndpoint& endpoint_;
    std::mutex mutex_;
    // Everything below is guarded by the mutex.
    std::shared_ptr<const upgrade_job_t> job_;  // shared with a callback that is just running
    upgrade_stage stage_ = upgrade_stage::idle;
    uint64_t run_ = 0;  // number of the upgrade; answers that belong to an earlier one are dropped
    uint64_t start_us_ = 0;
    md5_digest_t digest_ = {};
    upgrade_result_t result_;
    uint32_t sends_ = 0;  // of the request that was just answered
    uint32_t block_size_ = 0;
    int64_t block_count_ = 0;
    int64_t next_block_ = 0;    // the one under way, or to be sent next
    int64_t taken_blocks_ = 0;  // most that the service ever confirmed: the measure of progress
    uint32_t refusals_ = 0;     // since then
};

}  // namespace peers
