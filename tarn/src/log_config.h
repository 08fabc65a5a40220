// The log part of a JSON configuration.
#pragma once

#include <cstdint>

#include "kest_sketch.h"

namespace tarn {

constexpr uint32_t LOG_PATH_MAX = 1023;

struct log_config {
    int32_t level;                           // KEST_LOG_*
    int8_t module_levels[KEST_LOG_MODULES];  // 0: `level` holds, negative: off
    char file[LOG_PATH_MAX + 1];             // empty: console only
    uint32_t max_bytes;                      // of the file, before it is rotated
    uint32_t max_files;                      // older files that are kept
};

// Changes what the file names and leaves the rest of `config` as it is. 0, also when there is no such file; a negative
// errno after one line on standard error (-EINVAL: not JSON or a wrong value).
int log_config_load(const char* path, log_config& config);

}  // namespace tarn
