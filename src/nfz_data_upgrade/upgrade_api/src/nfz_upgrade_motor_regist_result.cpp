#include "nfz_data_upgrade/upgrade_api/src/upgrade_api.h"
#include "nfz_data_upgrade/upgrade_debugger/src/upgrade_debugger.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_motor.h"

#include <cstring>

size_t nfz_upgrade_motor_regist_result(flight_v1_pack_t* pack, char*, size_t)
{
    static constexpr const char* tag = "nfz_upgrade_motor_regist_result";
    vela_fc_set_register_motor_ext_err_rsp answer;
    if (pack->is_ack_pack == 0) return 0;
    if (pack->p_data == nullptr || pack->data_len < sizeof answer) return 0;
    std::memcpy(&answer, pack->p_data, sizeof answer);

    if (answer.result == 0) {
        // The success word last: the timer that sees it sees id and code too.
        set_requester_id(answer.requester_id);
        set_motor_ext_err_code(answer.motor_ext_err_code);
        set_regist_motor_error_success();
    } else {
        set_regist_motor_error_fail();
    }
    nfz_upgrade_log(tag, "regist motor error code, result %d\n", answer.result);
    nfz_upgrade_log(tag, "fc give requester id:%d", static_cast<int>(answer.requester_id));
    nfz_upgrade_log(tag, "fc give motor ext error code:%d", answer.motor_ext_err_code);
    return 0;
}
