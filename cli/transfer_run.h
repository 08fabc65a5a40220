// One transfer to the aircraft from beginning to end, with its progress shown, and how it counts as an exit code.
#pragma once

#include <functional>

#include "app/numbered_transfer.h"
#include "console.h"
#include "exit_codes.h"
#include "waiter.h"

namespace cli {

using transfer_progress_fn = std::function<void(const peers::transfer_progress_t&)>;
using transfer_done_fn = std::function<void(const peers::transfer_result_t&)>;
// Begins the transfer with these callbacks; the sender's result.
using transfer_begin_fn = std::function<kest_result_t(transfer_progress_fn, transfer_done_fn)>;

// Waits for the end; a signal cancels the transfer. `at_all_taken_us` (may be null): boot time at which the last block
// was confirmed.
peers::transfer_result_t run_transfer(peers::NumberedTransfer& sender, const transfer_begin_fn& begin, Waiter& waiter,
                                      ProgressBar& bar, uint64_t* at_all_taken_us = nullptr);

exit_code exit_code_of(peers::transfer_outcome outcome);

}  // namespace cli
