#include "nfz_tfr/tfr_module/src/tfr_module_push_fc.h"

#include "flight_v1/flight_v1.h"
#include "flight_v1/flight_v1_wire.h"
#include "nfz_tfr/tfr_debugger/src/tfr_debugger.h"
#include "nfz_tfr/tfr_module/src/tfr_module_read_data.h"
#include "nfz_tfr/tfr_module/src/tfr_module_select.h"
#include "nfz_tfr/tfr_module/src/tfr_wire.h"

static uint8_t send_count;  // slot to be pushed next

static void send(const vela_flight_push_tfr_t& push)
{
    flight_v1_send(SET_FLYLIMIT, ID_TFR_PUSH, HOST_FLIGHT_CONTROLLER, reinterpret_cast<const char*>(&push),
                   sizeof push);
}

void flight_push_tfr_to_fc()
{
    static constexpr const char* tag = "flight_push_tfr_to_fc";
    vela_flight_push_tfr_t push = {};
    push.num = get_tfr_info_num();
    if (push.num == 0) {
        send(push);
        return;
    }
    if (send_count >= push.num) send_count = 0;
    get_tfr_info_after_read(push.uid, sizeof push.uid);
    push.idx = send_count;
    push.tfr_data = get_tfr_info_by_index(send_count);
    send(push);
    ++send_count;
    nfz_tfr_printf(tag, "INDEX %d", push.idx);
    nfz_tfr_printf(tag, "area_id %d, tfr start:%d,end:%d", static_cast<int>(push.tfr_data.area_id),
                   static_cast<int>(push.tfr_data.start_at), static_cast<int>(push.tfr_data.end_at));
}
