#include "upgrade_run.h"

#include <utility>

namespace cli {

peers::upgrade_result_t run_upgrade(peers::UpgradeSender& sender, std::vector<uint8_t> database,
                                    const peers::upgrade_options_t& options, Waiter& waiter, ProgressBar& bar,
                                    uint64_t* at_all_taken_us)
{
    const auto begin = [&](transfer_progress_fn progress, transfer_done_fn done) {
        return sender.begin({std::move(database), options, std::move(progress), std::move(done)});
    };
    return run_transfer(sender, begin, waiter, bar, at_all_taken_us);
}

}  // namespace cli
