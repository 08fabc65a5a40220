// How fast this run's time goes, and what time it is.
#pragma once

#include <cstdint>

namespace tarn {

// TARN_TIME_SCALE, read once per process: 1 when unset; a wrong value is complained about in one line and counts as 1.
double time_scale();

// As kest_osal_get_boot_time.
uint64_t boot_time_us();

}  // namespace tarn
