#include "dbi/dbi.h"

#include "dbi/db_sub.h"
#include "flight_log/flight_log.h"
#include "flight_timer/flight_timer.h"

static constexpr uint32_t SILENCE_LIMIT_MS = 10000;

static flight_timer_t dbi_timer = {
    .name = "DBI_TIMER",
    .timeout_us = 5000000,
    .entry = dbi_monitor,
    .param = nullptr,
    .timer_handle = nullptr,
};

static uint32_t err_cnt;  // restarts since process start; DBI timer only

void dbi_monitor(void*)
{
    // The push's time first: one that comes in between must not look like 49 days of silence.
    const uint32_t last_ms = db_get_last_update_time_ms();
    const uint32_t now_ms = flight_get_boot_time_ms();
    if (now_ms - last_ms <= SILENCE_LIMIT_MS) return;
    ++err_cnt;
    fc_db_init();
    flight_log("dbi_monitor", "restart db sub err_cnt:%d %d %d", static_cast<int>(err_cnt), static_cast<int>(now_ms),
               static_cast<int>(last_ms));
}

flight_result_t dbi_init()
{
    flight_timer_create(&dbi_timer);
    return fc_db_init();
}
