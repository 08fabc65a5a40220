#include "nfz_data_upgrade/upgrade_api/src/payload.h"
#include "nfz_data_upgrade/upgrade_api/src/upgrade_api.h"
#include "nfz_data_upgrade/upgrade_debugger/src/upgrade_debugger.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_data_file.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_digest.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_session.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_supervisor.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_version.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_wire.h"

struct data_block_t {
    int32_t number;
    uint16_t size;
    const uint8_t* data;
};

// A block whose length is what its payload says.
static bool take_block(const flight_v1_pack_t* pack, data_block_t* block)
{
    upgrade_data_transfer_req_t request;
    if (pack->p_data == nullptr || pack->data_len < sizeof request) return false;
    std::memcpy(&request, pack->p_data, sizeof request);
    if (request.block_size != pack->data_len - sizeof request) return false;
    *block = {request.block_number, request.block_size, pack->p_data + sizeof request};
    return true;
}

// The first block decides whether the old database is given up. It is the first one as long as no byte is saved.
static uint8_t accept_first_block(upgrade_desc_t* desc, upgrade_state_t seen, const data_block_t& block)
{
    nfz_upgrade_log("nfz_upgrade_data", "it is first packet, need to check revertable of databse\n");
    upgrade_ret_code_t refusal = UPGRADE_RET_OK;
    if (block.size < NFZ_MIN_FIRST_BLOCK) {
        refusal = UPGRADE_RET_FIRST_SHORT;
    } else if (!check_version_need_update(block.data, block.size)) {
        refusal = UPGRADE_RET_NOT_NEWER;
    }
    if (refusal != UPGRADE_RET_OK) {
        return upgrade_advance_state(desc, seen, UPGRADE_STATE_IDLE) ? refusal : UPGRADE_RET_STATE;
    }
    upgrade_delete_data();
    return upgrade_advance_state(desc, seen, UPGRADE_STATE_DATA) ? UPGRADE_RET_OK : UPGRADE_RET_STATE;
}

static uint8_t save_block(upgrade_desc_t* desc, const data_block_t& block)
{
    upgrade_set_current_package_index(desc, block.number);
    const uint16_t len = upgrade_modify_datalen_last_packet(desc, block.size);
    if (upgrade_save_data(block.data, len) == 0) return UPGRADE_RET_NOT_WRITTEN;
    upgrade_md5_update(desc, block.data, len);
    upgrade_set_last_package_index(desc, upgrade_get_current_package_index(desc));
    upgrade_add_saved_size(desc, len);
    return UPGRADE_RET_OK;
}

static uint8_t receive_block(upgrade_desc_t* desc, const flight_v1_pack_t* pack)
{
    data_block_t block;
    if (!take_block(pack, &block)) return UPGRADE_RET_LENGTH;
    upgrade_state_t seen = upgrade_get_state(desc);
    if (seen != UPGRADE_STATE_START && seen != UPGRADE_STATE_DATA) return UPGRADE_RET_STATE;
    if (block.number != int64_t{upgrade_get_last_package_index(desc)} + 1) return UPGRADE_RET_BLOCK_NUMBER;
    if (desc->saved_firmware_size_ == 0) {
        const uint8_t refusal = accept_first_block(desc, seen, block);
        if (refusal != UPGRADE_RET_OK) return refusal;
        seen = UPGRADE_STATE_DATA;
    }
    const uint8_t code = save_block(desc, block);
    if (code != UPGRADE_RET_OK || !upgrade_firmware_is_complete(desc)) return code;
    if (!upgrade_advance_state(desc, seen, UPGRADE_STATE_END)) return UPGRADE_RET_STATE;
    upgrade_md5_final(desc);
    return UPGRADE_RET_OK;
}

size_t nfz_upgrade_data(flight_v1_pack_t* pack, char* ack_buf, size_t ack_buf_len)
{
    upgrade_reset_supervisor_start_time();
    upgrade_desc_t* desc = get_upgrade_desc();
    upgrade_data_transfer_ack_t ack = {};
    ack.ret_code = receive_block(desc, pack);
    ack.block_number = upgrade_get_last_package_index(desc);
    return put_ack(ack, ack_buf, ack_buf_len);
}
