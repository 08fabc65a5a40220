#include "transfer_run.h"

#include <memory>
#include <mutex>
#include <optional>

#include "common/clock.h"

namespace cli {
namespace {

constexpr auto REDRAW = std::chrono::milliseconds(50);

// What the callbacks leave for the main thread.
class Mailbox {
public:
    void put(const peers::transfer_progress_t& progress)
    {
        const std::lock_guard lock(mutex_);
        progress_ = progress;
        if (progress.bytes == progress.total) all_taken_us_ = peers::now_us();
    }
    void put(const peers::transfer_result_t& result)
    {
        const std::lock_guard lock(mutex_);
        result_ = result;
    }
    std::optional<peers::transfer_result_t> result() const
    {
        const std::lock_guard lock(mutex_);
        return result_;
    }
    peers::transfer_progress_t progress() const
    {
        const std::lock_guard lock(mutex_);
        return progress_;
    }
    uint64_t all_taken_us() const
    {
        const std::lock_guard lock(mutex_);
        return all_taken_us_;
    }

private:
    mutable std::mutex mutex_;
    peers::transfer_progress_t progress_ = {};
    std::optional<peers::transfer_result_t> result_;
    uint64_t all_taken_us_ = 0;
};

void show(ProgressBar& bar, const peers::transfer_progress_t& progress)
{
    if (progress.total > 0) bar.show(progress.bytes, progress.total, static_cast<double>(progress.elapsed_us) / 1e6);
}

}  // namespace

peers::transfer_result_t run_transfer(peers::NumberedTransfer& sender, const transfer_begin_fn& begin, Waiter& waiter,
                                      ProgressBar& bar, uint64_t* at_all_taken_us)
{
    // Shared with the callbacks: a last progress report may come after the result.
    const auto mailbox = std::make_shared<Mailbox>();
    const kest_result_t begun = begin([mailbox](const auto& progress) { mailbox->put(progress); },
                                      [mailbox, &waiter](const auto& result) {
                                          mailbox->put(result);
                                          waiter.notify();
                                      });
    if (begun != 0) {
        peers::transfer_result_t refused;
        refused.outcome = peers::transfer_outcome::unexpected;
        refused.what = "the transfer cannot begin: error " + std::to_string(-begun);
        return refused;
    }
    while (!mailbox->result()) {
        if (waiter.wait(REDRAW) == wake::interrupted) sender.cancel();
        show(bar, mailbox->progress());
    }
    bar.clear();
    if (at_all_taken_us != nullptr) *at_all_taken_us = mailbox->all_taken_us();
    return *mailbox->result();
}

exit_code exit_code_of(peers::transfer_outcome outcome)
{
    switch (outcome) {
        case peers::transfer_outcome::done:
            return exit_code::ok;
        case peers::transfer_outcome::unreachable:
        case peers::transfer_outcome::no_answer:
            return exit_code::unreachable;
        case peers::transfer_outcome::refused_older:
            return exit_code::refused_older;
        case peers::transfer_outcome::refused_state:
            return exit_code::refused_state;
        case peers::transfer_outcome::verification:
            return exit_code::verification;
        case peers::transfer_outcome::far_disk:
            return exit_code::far_disk;
        case peers::transfer_outcome::bad_database:
            return exit_code::bad_input;
        case peers::transfer_outcome::unexpected:
            return exit_code::protocol;
        case peers::transfer_outcome::cancelled:
            return exit_code::interrupted;
    }
    return exit_code::unexpected;
}

}  // namespace cli
