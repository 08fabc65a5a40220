// One reading of the aircraft's database from beginning to end, for the commands that read it back.
#pragma once

#include "console.h"
#include "exit_codes.h"
#include "flight_controller/database_reader.h"
#include "waiter.h"

namespace cli {

// Waits for the end; a signal cancels the reading. `job`'s callbacks are set here. `total` is for the progress, 0: not
// known.
peers::read_result_t run_read(peers::DatabaseReader& reader, peers::read_job_t job, uint64_t total, Waiter& waiter,
                              ProgressBar& bar);

exit_code exit_code_of(peers::read_outcome outcome);

}  // namespace cli
