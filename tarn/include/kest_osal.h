// Operating-system services: boot time and periodic timers.
#ifndef KEST_OSAL_H
#define KEST_OSAL_H

#include "kest_types.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void (*kest_osal_timer_entry_t)(void* param);

typedef struct kest_osal_timer_attrib {
    const char* name;  // also the thread's name (cut to 15 characters there)
    kest_osal_timer_entry_t entry;
    void* param;           // handed to `entry`
    uint32_t timeout_us;   // period, not 0
    int32_t repeat_times;  // 0: for ever
    int32_t priority;      // 0 to 99; real-time priority where the system permits it
} kest_osal_timer_attrib_t;

// Starts a periodic timer on a thread of its own; the first call of `entry` comes one period from now. The schedule is
// absolute: it does not drift, and ticks missed because `entry` overran are dropped (with TARN_TIME_SCALE above 1,
// pauses up to 50 ms of real time are made up for). -EINVAL (null, no period), -EAGAIN (no thread). `timer` is written
// only on success.
kest_result_t kest_osal_timer_create(const kest_osal_timer_attrib_t* attrib, void** timer);

// Microseconds since the system started, times TARN_TIME_SCALE. -EINVAL for null. Any thread, never blocks.
kest_result_t kest_osal_get_boot_time(uint64_t* boot_time_us);

#ifdef __cplusplus
}
#endif
#endif
