#include "start_up.h"

#include <unistd.h>

#include <cstdio>

#include "afqt/include/afqt.h"
#include "api/api.h"
#include "dbi/dbi.h"
#include "flight_log/flight_log.h"
#include "flight_timer/flight_timer.h"
#include "flight_v1/flight_v1.h"
#include "nfz_data_upgrade/nfz_data_upgrade.h"
#include "nfz_tfr/nfz_tfr.h"

// Relative on purpose: only a service that was launched in the aircraft's root directory tests.
static constexpr char AFQT_MARKER[] = "tmp/EMMC/AFQT_ENABLE.txt";

void vela_flight_start_up()
{
    flight_time_init();  // first: every log line measures from here
    puts("flight_time_init");
    flight_log_init();
    puts("flight_log_init");
    flight_v1_init();
    puts("flight_v1_init");
    api_init();
    puts("api_init");
    dbi_init();
    puts("dbi_init");
    upgrade_init();
    puts("upgrade_init");
    tfr_init();
    puts("tfr_init");
    if (access(AFQT_MARKER, F_OK) == 0) {
        afqt_init();
        flight_log("main", "afqt_init \r\n");
    }
}
