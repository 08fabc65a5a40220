#include "flight_timer/flight_timer.h"

#include <cstdlib>

#include "kest_osal.h"

static constexpr int32_t PRIORITY_ORDINARY = 19;
static constexpr int32_t PRIORITY_AFQT = 39;

static uint64_t flight_start_time_us;  // written before the other threads exist, then only read

uint64_t flight_get_sys_boot_time_us()
{
    uint64_t now_us = 0;
    kest_osal_get_boot_time(&now_us);
    return now_us;
}

flight_result_t flight_time_init()
{
    flight_start_time_us = flight_get_sys_boot_time_us();
    // The zone that holds anyway, but named: without a name the C library looks for it, with heap, at each conversion.
    setenv("TZ", ":/etc/localtime", 0);
    return FLIGHT_OK;
}

uint64_t flight_get_boot_time_us()
{
    return flight_get_sys_boot_time_us() - flight_start_time_us;
}

uint32_t flight_get_boot_time_ms()
{
    return static_cast<uint32_t>(flight_get_boot_time_us() / 1000);
}

uint32_t flight_get_sys_boot_time_ms()
{
    return flight_get_boot_time_ms();
}

static flight_result_t create_timer(flight_timer_t* timer, int32_t priority)
{
    if (timer == nullptr) return FLIGHT_ERR_RESOURCE;
    const kest_osal_timer_attrib_t attrib = {
        .name = timer->name,
        .entry = timer->entry,
        .param = timer->param,
        .timeout_us = timer->timeout_us,
        .repeat_times = 0,
        .priority = priority,
    };
    return kest_osal_timer_create(&attrib, &timer->timer_handle) == 0 ? FLIGHT_OK : FLIGHT_ERR_RESOURCE;
}

flight_result_t flight_timer_create(flight_timer_t* timer)
{
    return create_timer(timer, PRIORITY_ORDINARY);
}

flight_result_t flight_timer_create_afqt(flight_timer_t* timer)
{
    return create_timer(timer, PRIORITY_AFQT);
}
