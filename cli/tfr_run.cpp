#include "tfr_run.h"

#include <utility>

namespace cli {

peers::transfer_result_t run_tfr(peers::TfrSender& sender, std::vector<uint8_t> file,
                                 const peers::tfr_options_t& options, Waiter& waiter, ProgressBar& bar)
{
    const auto begin = [&](transfer_progress_fn progress, transfer_done_fn done) {
        return sender.begin({std::move(file), options, std::move(progress), std::move(done)});
    };
    return run_transfer(sender, begin, waiter, bar);
}

}  // namespace cli
