#include "read_run.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "common/clock.h"

namespace cli {
namespace {

constexpr auto REDRAW = std::chrono::milliseconds(50);

struct mailbox_t {
    std::atomic<uint64_t> bytes{0};
    std::mutex mutex;
    std::optional<peers::read_result_t> result;  // guarded by the mutex
};

bool ended(mailbox_t& mailbox)
{
    const std::lock_guard lock(mailbox.mutex);
    return mailbox.result.has_value();
}

}  // namespace

peers::read_result_t run_read(peers::DatabaseReader& reader, peers::read_job_t job, uint64_t total, Waiter& waiter,
                              ProgressBar& bar)
{
    const auto mailbox = std::make_shared<mailbox_t>();
    job.progress = [mailbox](uint64_t bytes) { mailbox->bytes = bytes; };
    job.done = [mailbox, &waiter](const peers::read_result_t& result) {
        {
            const std::lock_guard lock(mailbox->mutex);
            mailbox->result = result;
        }
        waiter.notify();
    };
    const uint64_t start = peers::now_us();
    reader.begin(std::move(job));
    while (!ended(*mailbox)) {
        if (waiter.wait(REDRAW) == wake::interrupted) reader.cancel();
        bar.show(mailbox->bytes, total, static_cast<double>(peers::now_us() - start) / 1e6);
    }
    bar.clear();
    const std::lock_guard lock(mailbox->mutex);
    return std::move(*mailbox->result);
}

exit_code exit_code_of(peers::read_outcome outcome)
{
    switch (outcome) {
        case peers::read_outcome::done:
            return exit_code::ok;
        case peers::read_outcome::unreachable:
        case peers::read_outcome::no_answer:
            return exit_code::unreachable;
        case peers::read_outcome::no_database:
        case peers::read_outcome::past_end:
            return exit_code::no_database;
        case peers::read_outcome::busy:
        case peers::read_outcome::failed:
            return exit_code::refused_state;
        case peers::read_outcome::far_disk:
            return exit_code::far_disk;
        case peers::read_outcome::unexpected:
            return exit_code::protocol;
        case peers::read_outcome::cancelled:
            return exit_code::interrupted;
    }
    return exit_code::unexpected;
}

}  // namespace cli
