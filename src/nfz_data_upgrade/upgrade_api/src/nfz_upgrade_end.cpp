#include "nfz_data_upgrade/upgrade_api/src/payload.h"
#include "nfz_data_upgrade/upgrade_api/src/upgrade_api.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_data_file.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_digest.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_remount.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_session.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_supervisor.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_wire.h"

static uint8_t verify(upgrade_desc_t* desc, const flight_v1_pack_t* pack)
{
    upgrade_end_req_t request;
    if (!payload_is(pack, &request)) return UPGRADE_RET_LENGTH;
    const upgrade_state_t seen = upgrade_get_state(desc);
    if (seen != UPGRADE_STATE_END && seen != UPGRADE_STATE_SUCCESS) return UPGRADE_RET_STATE;
    if (!check_protocal_md5_final(desc, request.md5)) return UPGRADE_RET_RECEIVED_MD5;
    if (!check_file_data_md5_final(desc)) return UPGRADE_RET_FILE_MD5;
    return upgrade_advance_state(desc, seen, UPGRADE_STATE_SUCCESS) ? UPGRADE_RET_OK : UPGRADE_RET_STATE;
}

size_t nfz_upgrade_end(flight_v1_pack_t* pack, char* ack_buf, size_t ack_buf_len)
{
    upgrade_reset_supervisor_start_time();
    upgrade_desc_t* desc = get_upgrade_desc();
    const upgrade_end_ack_t ack = {verify(desc, pack)};
    if (ack.ret_code != UPGRADE_RET_OK) {
        // Strict on purpose, also for a malformed or early request: a database that was not verified is not kept.
        upgrade_desc_reset(desc);
        upgrade_delete_data();
        upgrade_set_state(desc, UPGRADE_STATE_FAIL);
    }
    upgrade_remount_ro();
    return put_ack(ack, ack_buf, ack_buf_len);
}
