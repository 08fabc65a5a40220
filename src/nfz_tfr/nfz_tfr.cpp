#include "nfz_tfr/nfz_tfr.h"

#include <cstdio>

#include "flight_timer/flight_timer.h"
#include "nfz_tfr/tfr_module/src/tfr_module_get_pos.h"
#include "nfz_tfr/tfr_module/src/tfr_module_push_fc.h"
#include "nfz_tfr/tfr_module/src/tfr_module_read_data.h"

static flight_timer_t nfz_tfr_timer = {
    .name = "nfz_tfr_timer",
    .timeout_us = 1000000,
    .entry = nfz_tfr_timer_handler,
    .param = nullptr,
    .timer_handle = nullptr,
};

void tfr_init()
{
    // The text names the other module's timer; supervisors look for it so.
    if (flight_timer_create(&nfz_tfr_timer) != FLIGHT_OK) puts("fail to create nfz_upgrade_timer");
}

void nfz_tfr_timer_handler(void*)
{
    if (tfr_get_pos_info().pos_valid) tfr_data_update();
    flight_push_tfr_to_fc();
}
