// The app's side of a delivery of restrictions: start, numbered fragments, finish.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "app/numbered_transfer.h"
#include "app/tfr_result.h"
#include "flight_v1_wire.h"
#include "tfr_file/tfr_file.h"
#include "tfr_wire.h"

namespace peers {

inline constexpr uint32_t TFR_LARGEST_FRAGMENT = 255;  // its size travels in 8 bits
inline constexpr uint64_t TFR_MAX_FRAGMENTS = 65536;   // its number in 16

struct tfr_options_t : transfer_options_t {
    tfr_options_t() { target = HOST_FLIGHT_SERVICE; }

    bool force = false;  // send even if the aircraft has the file already
};

struct tfr_job_t {
    std::vector<uint8_t> file;
    tfr_options_t options = {};
    std::function<void(const transfer_progress_t&)> progress = {};  // after each accepted fragment; may be empty
    std::function<void(const transfer_result_t&)> done = {};        // exactly once; may be empty
};

class TfrSender : public NumberedTransfer {
public:
    explicit TfrSender(BusEndpoint& endpoint) : NumberedTransfer(endpoint) {}

    // 0, or without any callback -EALREADY (one is under way), -EINVAL (an empty file), -EFBIG (more than 65536
    // fragments).
    kest_result_t begin(tfr_job_t job);

private:
    void on_answer(lock_t& lock, bytes_view payload) override;
    void on_silence(lock_t& lock, kest_result_t result) override;
    void send_block(lock_t& lock, int64_t number, bytes_view data) override;
    void send_end(lock_t& lock) override;
    code_meaning_t meaning_of(uint8_t code) const override;
    code_meaning_t cancelled() const override;

    void ask_start(lock_t& lock, transfer_stage stage);
    void on_start(lock_t& lock, const update_tfr_rsp_t& answer);
    void on_fragment(lock_t& lock, const update_tfr_rsp_t& answer);
    void on_fragment_refused(lock_t& lock, uint8_t code, uint16_t expected);
    void on_end(lock_t& lock, uint8_t code);
    void on_confirm(lock_t& lock, const update_tfr_rsp_t& answer);
    bool has_our_uid(const update_tfr_rsp_t& answer) const;
    void succeed(lock_t& lock, const char* what);

    // Guarded by the mutex.
    std::optional<tfr_uid_t> uid_;  // of the file; none when it is too short for one, or zero
    bool force_ = false;
    bool write_failed_ = false;  // part of a fragment may have stayed in the stored file
    uint32_t confirms_ = 0;
};

}  // namespace peers
