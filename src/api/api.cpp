#include "api/api.h"

#include <iterator>

#include "afqt/include/afqt.h"
#include "afqt/include/afqt_wire.h"
#include "dbi/db_sub.h"
#include "flight_v1/flight_v1.h"
#include "flight_v1/flight_v1_wire.h"
#include "flight_version/flight_version.h"
#include "nfz_data_upgrade/upgrade_api/src/upgrade_api.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_flight_v1.h"
#include "nfz_tfr/tfr_api/src/tfr_update.h"

static constexpr flight_map_table_t cmd_map_table[] = {
    {SET_COMMON, ID_GET_VERSION, get_flight_version},
    {SET_FLIGHT_CONTROLLER, ID_DB_BAG_PUSH, fc_event_cb_receive_fmu},
    {SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE, nfz_tfr_update},
    {SET_AFQT, CMD_ID_AFQT_CMD, afqt_on_off_cmd},
};

static constexpr flight_map_table_t upgrade_cmd_map_table[] = {
    {SET_COMMON, ID_GET_VERSION, nfz_upgrade_get_version},
    {SET_COMMON, ID_UPGRADE_ENTRY, nfz_upgrade_entry},
    {SET_COMMON, ID_UPGRADE_START, nfz_upgrade_start},
    {SET_COMMON, ID_UPGRADE_DATA, nfz_upgrade_data},
    {SET_COMMON, ID_UPGRADE_END, nfz_upgrade_end},
    {SET_COMMON, ID_UPGRADE_REBOOT, nfz_upgrade_reboot},
    {SET_COMMON, ID_GET_DEVICE_STATE, nfz_upgrade_get_device_state},
    {SET_FLYLIMIT, ID_NFZ_READ, nfz_upgrade_profile},
    {SET_FLIGHT_CONTROLLER, ID_REGISTER_MOTOR_ERR, nfz_upgrade_motor_regist_result},
};

flight_result_t api_init()
{
    const int flight = flight_add_cmd_map_table(cmd_map_table, std::size(cmd_map_table));
    const int upgrade = upgrade_flight_add_cmd_map_table(upgrade_cmd_map_table, std::size(upgrade_cmd_map_table));
    return flight == 0 && upgrade == 0 ? FLIGHT_OK : FLIGHT_ERR_RESOURCE;
}
