#include "afqt/include/afqt_motion_scheduler.h"

#include <cstdio>

#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_main_states.h"
#include "afqt/include/afqt_send.h"
#include "afqt/include/afqt_wire.h"

namespace afqt {

static const std::shared_ptr<AfqtMainStateMachine> afqt_main = std::make_shared<AfqtMainStateMachine>("afqt_main");

AfqtMainStateMachine& get_afqt_main()
{
    return *afqt_main;
}

uint8_t AfqtMainStateMachine::build()
{
    for (StateId id = 0; id < MSTA_NUM; ++id)
        add_state(id);
    return add_external_event("ext_event_reset", MSTA_MOTION_STOP, MSTA_MOTION_IDEL, ext_event_reset, nullptr);
}

StateBaseSptr AfqtMainStateMachine::state_factory(StateId id, StateMachineRef owner)
{
    switch (id) {
        case MSTA_MOTION_IDEL:
            return std::make_shared<MainStaMotionIdel>(owner);
        case MSTA_MOTION_RUN:
            return std::make_shared<MainStaMotionRun>(owner);
        case MSTA_MOTION_PAUSE:
            return std::make_shared<MainStaMotionPause>(owner);
        case MSTA_MOTION_STOP:
            return std::make_shared<MainStaMotionStop>(owner);
        case MSTA_RELOAD_MOTION_LIST:
            return std::make_shared<MainStaReloadMotionList>(owner);
        case MSTA_UPLOAD_FLIGHT_DATA:
            return std::make_shared<MainStaUploadFlightData>(owner);
        default:
            _afqt_log(__func__, "[%s] cannot find %d in factory", get_name(), id);
            return nullptr;
    }
}

uint8_t AfqtMainStateMachine::ext_event_reset(StateBaseRef)
{
    puts("[new afqt] ext_event_reset \r");
    return 1;
}

uint8_t AfqtMainStateMachine::main_run()
{
    err_code_ = run();
    send_heartbeat();
    return 0;
}

uint8_t AfqtMainStateMachine::update_ext_state()
{
    switch (get_curr_sta_id()) {
        case MSTA_MOTION_IDEL:
        case MSTA_MOTION_PAUSE:
        case MSTA_MOTION_STOP:
            return kStaMotionIdel;
        case MSTA_MOTION_RUN:
            return get_curr_sta().get_internal_state_flag();
        case MSTA_RELOAD_MOTION_LIST:
            return kStaReloadMotionList;
        case MSTA_UPLOAD_FLIGHT_DATA:
            return kStaUploadFlightData;
        default:
            _afqt_log(__func__, "[afqt][fatal error] wrong curr_sta in main sta \r\n");
            return kStaErrSta;
    }
}

uint8_t AfqtMainStateMachine::send_heartbeat()
{
    const uint8_t state = update_ext_state();
    if (state != kStaMotionListRun) return send_afqt_heart_beat(state, err_code_, NONE, 0, kLoopNull);

    RunMotionList& runner = static_cast<MainStaMotionRun&>(get_curr_sta()).runner();
    const auto number = static_cast<uint8_t>(runner.get_curr_motion_num() + 1);
    return send_afqt_heart_beat(state, err_code_, runner.get_curr_motion_id(), number, runner.afqt_motion_loop());
}

}  // namespace afqt
