#include "afqt/include/afqt_main_states.h"

#include <cstdio>

#include "afqt/include/afqt_craft_cfg.h"
#include "afqt/include/afqt_motion_cfg.h"
#include "afqt/include/afqt_send.h"
#include "afqt/include/afqt_tag_file.h"
#include "afqt/include/afqt_wire.h"

namespace afqt {

uint8_t MainStaMotionIdel::init()
{
    return add_event("ext_event_cmd_on", MSTA_RELOAD_MOTION_LIST, ext_event_cmd_on, nullptr);
}

uint8_t MainStaMotionIdel::ext_event_cmd_on(StateBaseRef sta)
{
    AfqtMainStateMachine& machine = this_sta(sta).owner();
    if (machine.get_curr_sta_id() == MSTA_MOTION_RUN || !machine.take_onoff_cmd(kAfqtOn)) return 0;
    puts("[new afqt] ext_event_cmd_on \r");
    return 1;
}

MainStaMotionRun::MainStaMotionRun(StateMachineRef owner)
    : MainState("MSTA_MOTION_RUN", MSTA_MOTION_RUN, owner),
      sta_mach_run_motion(std::make_shared<RunMotionList>("sta_mach_run_motion"))
{
}

uint8_t MainStaMotionRun::init()
{
    add_event("ext_event_cmd_off", MSTA_MOTION_STOP, ext_event_cmd_off, nullptr);
    add_event("event_motion_done", MSTA_MOTION_STOP, event_motion_done, nullptr);
    return sta_mach_run_motion->init(kMotionListInit, kRmlsNum);
}

uint8_t MainStaMotionRun::entry()
{
    puts("[new afqt] process MainStaMotionRun entry  \r");
    sta_mach_run_motion->reset_run_list_sta();
    return 0;
}

// The runner's errors show as its external state, not as the machine's error code.
uint8_t MainStaMotionRun::run()
{
    sta_mach_run_motion->run();
    return 0;
}

uint8_t MainStaMotionRun::exit()
{
    sta_mach_run_motion->exit();
    send_req_api_mode(MIS_OFF);
    puts("[new afqt] MainStaMotionRun exit  \r");
    return 0;
}

uint8_t MainStaMotionRun::get_internal_state_flag()
{
    return sta_mach_run_motion->update_ext_state();
}

uint8_t MainStaMotionRun::ext_event_cmd_off(StateBaseRef sta)
{
    if (!this_sta(sta).owner().take_onoff_cmd(kAfqtOff)) return 0;
    puts("[new afqt] ext_event_cmd_off \r");
    return 1;
}

uint8_t MainStaMotionRun::event_motion_done(StateBaseRef sta)
{
    if (this_sta(sta).runner().get_curr_sta_id() != kRunMotionDone) return 0;
    puts("[new afqt] event_motion_done \r");
    return 1;
}

uint8_t MainStaReloadMotionList::init()
{
    return add_event("event_load_motion_list", MSTA_MOTION_RUN, event_load_motion_list, nullptr);
}

uint8_t MainStaReloadMotionList::run()
{
    if (get_motion_cfg() != 0) {
        set_err(PARSE_MOTIONLIST_FAIL);
        return get_err();
    }
    reload_flag_ = 1;
    set_err(creat_tag_file());
    set_err(load_craft_cfg());  // a missing tag file does not stop the test
    return get_err();
}

uint8_t MainStaReloadMotionList::event_load_motion_list(StateBaseRef sta)
{
    if (this_sta(sta).reload_flag_ != 1) return 0;
    puts("[new afqt] motion list load done \r");
    return 1;
}

}  // namespace afqt
