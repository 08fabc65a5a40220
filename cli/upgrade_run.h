// One upgrade from beginning to end, with its progress shown, for the commands that send a database.
#pragma once

#include <vector>

#include "app/upgrade_sender.h"
#include "transfer_run.h"

namespace cli {

// Waits for the end; a signal cancels the upgrade. `at_all_taken_us` (may be null): boot time at which the last block
// was confirmed.
peers::upgrade_result_t run_upgrade(peers::UpgradeSender& sender, std::vector<uint8_t> database,
                                    const peers::upgrade_options_t& options, Waiter& waiter, ProgressBar& bar,
                                    uint64_t* at_all_taken_us = nullptr);

}  // namespace cli
