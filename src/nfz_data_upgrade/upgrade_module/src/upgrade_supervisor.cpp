#include "nfz_data_upgrade/upgrade_module/src/upgrade_supervisor.h"

#include "flight_timer/flight_timer.h"
#include "nfz_data_upgrade/upgrade_debugger/src/upgrade_debugger.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_data_file.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_remount.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_session.h"

static constexpr uint32_t SILENCE_LIMIT_MS = 20000;

static shared_word<uint32_t> last_get_api_time_ms;  // upgrade client task writes, upgrade timer reads

void upgrade_reset_supervisor_start_time()
{
    last_get_api_time_ms = flight_get_boot_time_ms();
}

bool upgrade_supervisor_need_check()
{
    return get_nfz_data_state() == UPGRADE_RUNNING;
}

void upgrade_supervisor()
{
    if (!upgrade_supervisor_need_check()) return;
    // The request's time first: one that comes in between must not look like 49 days of silence.
    const uint32_t last_ms = last_get_api_time_ms;
    const uint32_t silence_ms = flight_get_boot_time_ms() - last_ms;
    if (silence_ms <= SILENCE_LIMIT_MS) return;

    nfz_upgrade_log("upgrade_supervisor", "too long time not receive one packet for upgrade, timeout:%dms\n",
                    static_cast<int>(silence_ms));
    upgrade_desc_t* desc = get_upgrade_desc();
    upgrade_desc_reset(desc);
    upgrade_delete_data();
    upgrade_set_state(desc, UPGRADE_STATE_FAIL);
    upgrade_remount_ro();
}
