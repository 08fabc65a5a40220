#include "afqt/include/afqt.h"

#include <algorithm>
#include <cstring>

#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_motion_cfg.h"
#include "afqt/include/afqt_motion_scheduler.h"
#include "afqt/include/afqt_send.h"
#include "afqt/include/afqt_wire.h"
#include "flight_timer/flight_timer.h"

static constexpr int VERSION_MAJOR = 0;
static constexpr int VERSION_MINOR = 1;
static constexpr uint32_t TICK_US = 20000;

static flight_timer_t afqt_timer = {"AFQT_TIMER", TICK_US, fc_afqt_timer_handler, nullptr, nullptr};

flight_result_t afqt_init()
{
    afqt_debug_init();
    _afqt_log(__func__, "[init]<AFQT Ver>: %d.%d \r\n", VERSION_MAJOR, VERSION_MINOR);
    afqt::get_afqt_main().init(afqt::MSTA_MOTION_IDEL, afqt::MSTA_NUM);
    _afqt_log(__func__, "[init] init done \r\n");

    const flight_result_t result = flight_timer_create_afqt(&afqt_timer);
    if (result != FLIGHT_OK) _afqt_log(__func__, "[init]fail to create AFQT timer\r\n");
    _afqt_log(__func__, "[init]sucess to create AFQT timer\r\n");  // after a failure too
    return result;
}

void fc_afqt_timer_handler(void*)
{
    afqt_debug_tick_handle();
    afqt::get_afqt_main().main_run();
}

size_t afqt_on_off_cmd(flight_v1_pack_t* pack_info, char*, size_t)
{
    afqt_on_off_cmd_t request = {};  // bytes that did not come are zero
    if (pack_info->p_data != nullptr)
        std::memcpy(&request, pack_info->p_data, std::min<size_t>(pack_info->data_len, sizeof request));
    _afqt_log(__func__, "[afqt]afqt_switch %d \r\n", request.switch_state);
    if (request.switch_state != kAfqtOn && request.switch_state != kAfqtOff) return 0;

    set_motion_cfg_file_index(request.file_index);  // before the command, which a tick may take at once
    afqt::get_afqt_main().set_afqt_onoff_cmd(request.switch_state);
    _afqt_log(__func__, " get afqt start cmd: %d \r\n", request.switch_state);
    _afqt_log(__func__, " set_motion_cfg_file_index: %d \r\n", request.file_index);
    set_send_heart_flag(request.switch_state);
    _afqt_log(__func__, "set_send_heart_flag: %d r\n", request.switch_state);
    return 0;
}
