#include "nfz_tfr/tfr_api/src/tfr_update.h"

#include <cstring>

#include "nfz_tfr/tfr_debugger/src/tfr_debugger.h"
#include "nfz_tfr/tfr_module/src/tfr_file.h"
#include "nfz_tfr/tfr_module/src/tfr_module_check_md5.h"
#include "nfz_tfr/tfr_module/src/tfr_module_read_data.h"
#include "nfz_tfr/tfr_module/src/tfr_module_update.h"

static update_tfr_rsp_t reply_of(uint8_t ack, uint8_t type = TFR_UID)
{
    update_tfr_rsp_t reply = {};
    reply.ack = ack;
    reply.type = type;
    return reply;
}

size_t nfz_tfr_update(flight_v1_pack_t* pack_info, char* ack_buf, size_t ack_buf_len)
{
    if (ack_buf == nullptr || ack_buf_len < sizeof(update_tfr_rsp_t)) return 0;
    const bool readable = pack_info->p_data != nullptr && pack_info->data_len <= TFR_MAX_REQUEST;
    const update_tfr_rsp_t reply = readable ? packet_solve(pack_info) : reply_of(TFR_UPDATE_PACKET_DATA_ERROR);
    std::memcpy(ack_buf, &reply, sizeof reply);
    return sizeof reply;
}

update_tfr_rsp_t packet_solve(const flight_v1_pack_t* pack_info)
{
    if (pack_info->data_len < 1) return reply_of(TFR_UPDATE_PACKET_DATA_ERROR);
    switch (pack_info->p_data[offsetof(update_tfr_req_t, type)]) {
        case UPDATE_REQ:
            return require_start(pack_info);
        case UPDATE_DATA:
            return data_transfer(pack_info);
        case UPDATE_FINISH:
            return require_finish(pack_info);
        default:
            return reply_of(TFR_UPDATE_ACK_TYPE_ERROR);
    }
}

update_tfr_rsp_t require_start(const flight_v1_pack_t*)
{
    nfz_tfr_log("require_start", "tfr update app require_start");
    update_tfr_rsp_t reply = reply_of(TFR_UPDATE_SUCCESS, TFR_UID);
    if (get_tfr_update_status() == TFR_UPDATE_STATE_IDLE)
        get_tfr_info_uid_by_read_file(TFR_FILE, reply.uid, sizeof reply.uid);
    else
        set_tfr_update_status(TFR_UPDATE_STATE_IDLE);
    return reply;
}

static void forget_transfer(const char* tag, const char* why)
{
    tfr_update_event_reset();
    tfr_delete_all_data(TFR_FILE);
    nfz_tfr_log(tag, "%s", why);
}

// Whether this fragment may be saved; restarts the transfer where a fragment does that.
static uint8_t admit(const update_tfr_req_t& request)
{
    static constexpr const char* tag = "data_transfer";
    const tfr_update_state_t state = get_tfr_update_status();
    if (state == TFR_UPDATE_STATE_IDLE || request.pkg_seq == 0) {
        forget_transfer(tag, "reset tfr update event and clear all data in file");
        set_tfr_update_status(TFR_UPDATE_STATE_TRANSFER);
    } else if (state == TFR_UPDATE_STATE_FINISH) {
        nfz_tfr_log(tag, "ERROR: state error, now is TFR_UPDATE_STATE_FINISH");
        return TFR_UPDATE_STATE_ERROR;
    }
    nfz_tfr_printf(tag, "req->pkg_seq:%d", request.pkg_seq);
    if (check_seq_continue(request.pkg_seq)) return TFR_UPDATE_SUCCESS;
    nfz_tfr_log(tag, "ERROR: tfr update, packet sequence is not continue");
    return TFR_UPDATE_SEQ_NOT_CONTINUE;
}

static uint8_t save(const update_tfr_req_t& request, const uint8_t* data)
{
    static constexpr const char* tag = "data_transfer";
    nfz_tfr_printf(tag, "req->pkg_size%d, req->data_size%d", static_cast<int>(request.pkg_size), request.data_size);
    if (!tfr_update_save_data(data, request.data_size)) {
        nfz_tfr_log(tag, "ERROR: tfr update save data faile");
        return TFR_UPDATE_SAVE_DATA_FAIL;
    }
    update_seq(request.pkg_seq);
    if (check_tfr_update_can_finish(request.pkg_size)) set_tfr_update_status(TFR_UPDATE_STATE_FINISH);
    return TFR_UPDATE_SUCCESS;
}

update_tfr_rsp_t data_transfer(const flight_v1_pack_t* pack_info)
{
    static constexpr const char* tag = "data_transfer";
    nfz_tfr_printf(tag, "data_transfer");
    update_tfr_req_t request;
    if (pack_info->data_len < sizeof request) return reply_of(TFR_UPDATE_PACKET_DATA_ERROR);
    std::memcpy(&request, pack_info->p_data, sizeof request);
    if (request.data_size > pack_info->data_len - sizeof request) return reply_of(TFR_UPDATE_PACKET_DATA_ERROR);

    uint8_t ack = admit(request);
    if (ack == TFR_UPDATE_SUCCESS) ack = save(request, pack_info->p_data + sizeof request);
    update_tfr_rsp_t reply = reply_of(ack, TFR_NEXT_SET);
    reply.seq = get_next_expect_seq();
    nfz_tfr_printf(tag, "res.seq %d", reply.seq);
    return reply;
}

static uint8_t judge()
{
    static constexpr const char* tag = "require_finish";
    if (get_tfr_update_status() != TFR_UPDATE_STATE_FINISH) {
        nfz_tfr_log(tag, "ERROR: state error, now is not TFR_UPDATE_STATE_FINISH");
        return TFR_UPDATE_STATE_ERROR;
    }
    const uint32_t saved = get_tfr_saved_data_size();
    const uint32_t total = get_tfr_packet_size();
    if (saved > total) {
        nfz_tfr_log(tag, "ERROR: TFR_UPDATE_SAVED_DATA_TOO_MUCH, saved:%d, total:%d", static_cast<int>(saved),
                    static_cast<int>(total));
        return TFR_UPDATE_SAVED_DATA_TOO_MUCH;
    }
    if (saved < total) return TFR_UPDATE_ERR_UNKNOW;
    if (!tfr_check_md5(true)) {
        nfz_tfr_log(tag, "ERROR: md5 check fail");
        return TFR_UPDATE_MD5_CHECK_FAIL;
    }
    return TFR_UPDATE_SUCCESS;
}

update_tfr_rsp_t require_finish(const flight_v1_pack_t*)
{
    static constexpr const char* tag = "require_finish";
    nfz_tfr_log(tag, "tfr update app require_finish");
    const uint8_t ack = judge();
    if (ack == TFR_UPDATE_SUCCESS)
        nfz_tfr_printf(tag, "TFR_UPDATE_SUCCESS");
    else
        forget_transfer(tag, "tfr update fail, reset tfr update event and clear all data in file");
    set_tfr_update_status(TFR_UPDATE_STATE_IDLE);
    return reply_of(ack, TFR_SIG_RES);
}
