// One delivery of restrictions from beginning to end, with its progress shown.
#pragma once

#include <vector>

#include "app/tfr_sender.h"
#include "transfer_run.h"

namespace cli {

// Waits for the end; a signal cancels it.
peers::transfer_result_t run_tfr(peers::TfrSender& sender, std::vector<uint8_t> file,
                                 const peers::tfr_options_t& options, Waiter& waiter, ProgressBar& bar);

}  // namespace cli
