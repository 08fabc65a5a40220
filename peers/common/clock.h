// The platform's clock, the only one that peers know: scaled and simulated time come through it.
#pragma once

#include <cstdint>

#include "kest_osal.h"

namespace peers {

// Microseconds of boot time.
inline uint64_t now_us()
{
    uint64_t now = 0;
    kest_osal_get_boot_time(&now);
    return now;
}

}  // namespace peers
