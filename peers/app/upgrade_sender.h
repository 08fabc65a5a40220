// The app's side of a database upgrade: entry, start, numbered blocks, end.
#pragma once

#include <functional>
#include <vector>

#include "app/numbered_transfer.h"
#include "app/upgrade_result.h"
#include "flight_v1_wire.h"
#include "nfz_file/nfz_file.h"

namespace peers {

struct upgrade_options_t : transfer_options_t {
    upgrade_options_t() { target = HOST_NFZ_UPGRADE; }

    // On failure tell the service with an end request, which makes it drop what it has at once and hold the motors,
    // instead of after 20 s of silence. Only sent once a block was taken: before that it would cost the installed
    // database.
    bool withdraw_on_failure = false;
};

struct upgrade_job_t {
    std::vector<uint8_t> database;  // up to 4 GiB - 1
    upgrade_options_t options = {};
    std::function<void(const upgrade_progress_t&)> progress = {};  // after each accepted block; may be empty
    std::function<void(const upgrade_result_t&)> done = {};        // exactly once; may be empty
};

class UpgradeSender : public NumberedTransfer {
public:
    explicit UpgradeSender(BusEndpoint& endpoint) : NumberedTransfer(endpoint) {}

    // 0, or without any callback -EALREADY (one is under way), -EFBIG (database of 4 GiB or more).
    kest_result_t begin(upgrade_job_t job);

private:
    void on_answer(lock_t& lock, bytes_view payload) override;
    void on_silence(lock_t& lock, kest_result_t result) override;
    void send_block(lock_t& lock, int64_t number, bytes_view data) override;
    void send_end(lock_t& lock) override;
    void on_failure(lock_t& lock) override;
    code_meaning_t meaning_of(uint8_t code) const override;
    code_meaning_t cancelled() const override;

    void on_entry(lock_t& lock, bytes_view payload);
    void ask_start(lock_t& lock);
    void on_start(lock_t& lock, bytes_view payload);
    void on_block(lock_t& lock, bytes_view payload);
    void on_block_refused(lock_t& lock, uint8_t code, int64_t last);
    void on_end(lock_t& lock, bytes_view payload);
    void withdraw(lock_t& lock);

    // Guarded by the mutex.
    bool withdraw_on_failure_ = false;
    md5_digest_t digest_ = {};
};

}  // namespace peers
