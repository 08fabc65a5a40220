#include "afqt/include/afqt_run_motion_list.h"

#include <cstdio>

#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_runner_states.h"
#include "afqt/include/afqt_send.h"
#include "afqt/include/afqt_wire.h"

namespace afqt {

uint8_t RunMotionList::build()
{
    for (StateId id = 0; id < kRmlsNum; ++id)
        add_state(id);
    return 0;
}

StateBaseSptr RunMotionList::state_factory(StateId id, StateMachineRef owner)
{
    switch (id) {
        case kMotionListInit:
            return std::make_shared<MotionListInit>(owner);
        case kReqTakeoff:
            return std::make_shared<ReqTakeoff>(owner);
        case kReqApiMode:
            return std::make_shared<ReqApiMode>(owner);
        case kLoadNextMotion:
            return std::make_shared<LoadNextMotion>(owner);
        case kMotionListRun:
            return std::make_shared<MotionListRun>(owner);
        case kRtlRun:
            return std::make_shared<RtlRun>(owner);
        case kLanding:
            return std::make_shared<Landing>(owner);
        case kRunMotionDone:
            return std::make_shared<RunMotionDone>(owner);
        case kError:
            return std::make_shared<ErrorState>(owner);
        default:
            _afqt_log(__func__, "[%s] cannot find %d in factory", get_name(), id);
            return nullptr;
    }
}

void RunMotionList::reset_run_list_sta()
{
    puts("[new afqt] reset_run_list_sta  \r");
    run_list_sta.curr_motion_ptr = nullptr;
    set_init_pos_alt_yaw(0, 0, 0, 0);
    run_list_sta.repeat_stack.clear();
    run_list_sta.init_pos_valid_flag = 0;
    run_list_sta.motion_total = 0;
    run_list_sta.error_code = ERROR_NONE;
    run_list_sta.curr_motion_num = 0;
    run_list_sta.repeat_num = 0;
    run_list_sta.curr_sta = 0;
    reset_sta_machine();
}

uint8_t RunMotionList::update_ext_state() const
{
    switch (get_curr_sta_id()) {
        case kMotionListInit:
        case kReqTakeoff:
            return kStaTakeoff;
        case kReqApiMode:
            return kStaReqApi;
        case kLoadNextMotion:
        case kMotionListRun:
            return kStaMotionListRun;
        case kRtlRun:
            return kStaRtl;
        case kLanding:
            return kStaLanding;
        default:
            return kStaErrSta;
    }
}

uint8_t RunMotionList::send_heartbeat()
{
    const StateId state = get_curr_sta_id();
    const bool flying = state == kMotionListRun;
    return send_afqt_heart_beat(state, run_list_sta.error_code, flying ? get_curr_motion_id() : uint8_t{NONE},
                                flying ? get_curr_motion_num() : uint8_t{0}, kLoopNull);
}

void RunMotionList::set_init_pos_alt_yaw(double lat, double lon, float alt, float yaw)
{
    vec2_set_value(run_list_sta.init_gps_pos, lat, lon);
    run_list_sta.init_alt = alt;
    run_list_sta.init_yaw = yaw;
}

void RunMotionList::get_init_pos(double* out2) const
{
    vec2_copy(out2, run_list_sta.init_gps_pos);
}

uint8_t RunMotionList::get_curr_motion_id() const
{
    const AfqtMotionBase* motion = run_list_sta.curr_motion_ptr;
    return motion != nullptr ? motion->motion_id : uint8_t{NONE};
}

uint8_t RunMotionList::afqt_motion_loop()
{
    AfqtMotionBase* motion = run_list_sta.curr_motion_ptr;
    return motion != nullptr ? motion->get_loop() : uint8_t{kLoopNull};
}

uint8_t RunMotionList::afqt_motion_init()
{
    AfqtMotionBase* motion = run_list_sta.curr_motion_ptr;
    return motion != nullptr ? motion->init(&run_list_sta) : uint8_t{1};
}

uint8_t RunMotionList::afqt_motion_run()
{
    AfqtMotionBase* motion = run_list_sta.curr_motion_ptr;
    return motion != nullptr ? motion->run() : uint8_t{0};
}

uint8_t RunMotionList::afqt_motion_reset()
{
    AfqtMotionBase* motion = run_list_sta.curr_motion_ptr;
    return motion != nullptr ? motion->reset() : uint8_t{0};
}

uint8_t RunMotionList::afqt_motion_check_finish()
{
    AfqtMotionBase* motion = run_list_sta.curr_motion_ptr;
    return motion != nullptr ? motion->check_finish() : uint8_t{MOTION_DOING};
}

uint8_t RunMotionList::afqt_motion_check_valid()
{
    AfqtMotionBase* motion = run_list_sta.curr_motion_ptr;
    return motion != nullptr ? motion->check_valid() : uint8_t{MOTION_CFG_INVALID};
}

}  // namespace afqt
