// The process's clock and its periodic timers.
#pragma once

#include <cstdint>

#include "common/flight_result.h"

// Fixes the process's zero of time and, unless TZ names one, its time zone; before any other thread exists. Returns 0.
flight_result_t flight_time_init();

// Microseconds since the system started.
uint64_t flight_get_sys_boot_time_us();

// Microseconds since flight_time_init (since system start before it).
uint64_t flight_get_boot_time_us();

// Milliseconds since flight_time_init, low 32 bits: wraps after 49.7 days.
uint32_t flight_get_boot_time_ms();

// The same. Callers rely on all process times having one zero, so it does not measure from system start.
uint32_t flight_get_sys_boot_time_ms();

using flight_timer_entry_t = void (*)(void* param);

// One periodic timer; its module owns it, statically.
struct flight_timer_t {
    const char* name;
    uint32_t timeout_us;  // period
    flight_timer_entry_t entry;
    void* param;         // handed to `entry`
    void* timer_handle;  // filled by creation
};

// Starts the timer for the life of the process; `entry` runs on a thread of its own. 0, or -10001 (null, or refused by
// the platform).
flight_result_t flight_timer_create(flight_timer_t* timer);

// The same at the priority of the 20 ms flight-test timer.
flight_result_t flight_timer_create_afqt(flight_timer_t* timer);
