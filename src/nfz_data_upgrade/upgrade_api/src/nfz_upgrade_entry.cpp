#include "nfz_data_upgrade/upgrade_api/src/payload.h"
#include "nfz_data_upgrade/upgrade_api/src/upgrade_api.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_motor.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_session.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_supervisor.h"

size_t nfz_upgrade_entry(flight_v1_pack_t* pack, char* ack_buf, size_t ack_buf_len)
{
    // Before the length is looked at: whoever asked last, even wrongly, decides whether the motors are held.
    check_set_is_app_req_upgrade(pack->sender);
    upgrade_reset_supervisor_start_time();

    upgrade_request_entry_ack_t ack = {};
    upgrade_desc_t* desc = get_upgrade_desc();
    if (pack->p_data == nullptr || pack->data_len != UPGRADE_ENTRY_REQ_SIZE) {
        ack.ret_code = UPGRADE_RET_LENGTH;
    } else if (upgrade_desc_reset(desc) == 0) {
        ack.ret_code = UPGRADE_RET_NOT_WRITTEN;
    } else {
        upgrade_set_state(desc, UPGRADE_STATE_INIT);
        ack.ret_code = UPGRADE_RET_OK;
        ack.transfer_option = ENTRY_SUPPORT_V1COM;
        ack.upgrade_option = ENTRY_SUPPORT_SERIAL_UPGRADE;
    }
    return put_ack(ack, ack_buf, ack_buf_len);
}
