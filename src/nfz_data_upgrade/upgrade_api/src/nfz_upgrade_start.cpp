#include "nfz_data_upgrade/upgrade_api/src/payload.h"
#include "nfz_data_upgrade/upgrade_api/src/upgrade_api.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_digest.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_remount.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_session.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_supervisor.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_wire.h"

static uint8_t start(const flight_v1_pack_t* pack)
{
    upgrade_request_receive_req_t request;
    upgrade_desc_t* desc = get_upgrade_desc();
    if (!payload_is(pack, &request)) return UPGRADE_RET_LENGTH;
    if (!upgrade_state_is(desc, UPGRADE_STATE_INIT) && !upgrade_state_is(desc, UPGRADE_STATE_START)) {
        return UPGRADE_RET_STATE;
    }
    upgrade_remount_rw();
    upgrade_set_firmware_size(desc, request.firmware_size);
    upgrade_set_state(desc, UPGRADE_STATE_START);
    upgrade_md5_init(desc);
    return UPGRADE_RET_OK;
}

size_t nfz_upgrade_start(flight_v1_pack_t* pack, char* ack_buf, size_t ack_buf_len)
{
    upgrade_reset_supervisor_start_time();
    upgrade_request_receive_ack_t ack = {};
    ack.ret_code = start(pack);
    if (ack.ret_code == UPGRADE_RET_OK) ack.frag_length = UPGRADE_FRAG_LENGTH;
    return put_ack(ack, ack_buf, ack_buf_len);
}
