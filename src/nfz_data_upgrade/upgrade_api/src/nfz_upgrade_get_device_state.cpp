#include "nfz_data_upgrade/upgrade_api/src/payload.h"
#include "nfz_data_upgrade/upgrade_api/src/upgrade_api.h"
#include "nfz_data_upgrade/upgrade_debugger/src/upgrade_debugger.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_wire.h"

size_t nfz_upgrade_get_device_state(flight_v1_pack_t*, char* ack_buf, size_t ack_buf_len)
{
    upgrade_get_device_state_ack_t ack = {};
    ack.device_state = DEVICE_IS_LOADER_MODE;
    nfz_upgrade_log("nfz_upgrade_get_device_state", "ack_result, ret_code %d, ack_buf_len %d\n", ack.ret_code,
                    static_cast<int>(sizeof ack));
    return put_ack(ack, ack_buf, ack_buf_len);
}
