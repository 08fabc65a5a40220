#include "nfz_data_upgrade/nfz_data_upgrade.h"

#include "flight_timer/flight_timer.h"
#include "flight_version/flight_version.h"
#include "nfz_data_upgrade/upgrade_debugger/src/upgrade_debugger.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_database.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_flight_v1.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_motor.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_session.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_supervisor.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_version.h"

static flight_timer_t nfz_upgrade_timer = {
    .name = "nfz_upgrade_timer",
    .timeout_us = 500000,
    .entry = nfz_upgrade_timer_handler,
    .param = nullptr,
    .timer_handle = nullptr,
};

void nfz_upgrade_timer_handler(void*)
{
    upgrade_push_flylimit_version();
    upgrade_supervisor();
    upgrade_control_motor();
}

void upgrade_init()
{
    upgrade_desc_init(get_upgrade_desc());
    upgrade_flight_v1_init();
    upgrade_check_databse();
    const version_t version = get_flight_version_in();
    nfz_upgrade_log("upgrade_init", "vela_flight version: %d-%d-%d-%d\n", version.a, version.b, version.c, version.d);
    if (flight_timer_create(&nfz_upgrade_timer) != FLIGHT_OK) {
        nfz_upgrade_log("upgrade_init", "fail to create nfz_upgrade_timer\n");
    }
}
