// What the service's answers to a transfer of restrictions mean.
#pragma once

#include <cstdint>

#include "app/transfer_result.h"

namespace peers {

code_meaning_t explain_tfr_code(transfer_stage stage, uint8_t code);

}  // namespace peers
