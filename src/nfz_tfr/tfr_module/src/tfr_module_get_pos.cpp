#include "nfz_tfr/tfr_module/src/tfr_module_get_pos.h"

#include "flight_db/flight_db.h"

static constexpr uint8_t USABLE_FIX = 3;

tfr_ref_pos_t tfr_get_pos_info()
{
    const flight_global_db_t& db = *flight_get_db();
    if (db.gps_ctrl_level >= USABLE_FIX) return {db.drone_gps[0], db.drone_gps[1], true, DRONE_POS};
    if (db.app_gps_valid == 1) return {db.app_gps[0], db.app_gps[1], true, APP_POS};
    return {0.0, 0.0, false, NO_VALID_POS};
}
