// What the service's answers to a database upgrade mean.
#pragma once

#include <cstdint>

#include "app/transfer_result.h"

namespace peers {

using upgrade_stage = transfer_stage;
using upgrade_outcome = transfer_outcome;
using upgrade_result_t = transfer_result_t;
using upgrade_progress_t = transfer_progress_t;

code_meaning_t explain_code(upgrade_stage stage, uint8_t code);

}  // namespace peers
