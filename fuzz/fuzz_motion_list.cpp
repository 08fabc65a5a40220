// A motion list: read by the service, judged and flown for a few ticks, each motion by itself.
#include <string>

#include "afqt/include/afqt_craft_cfg.h"
#include "afqt/include/afqt_motion_cfg.h"
#include "afqt/include/afqt_run_list_sta.h"
#include "flight_log/flight_log.h"
#include "flight_timer/flight_timer.h"
#include "flight_v1/flight_v1.h"
#include "fuzz_file.h"
#include "scripted_platform.h"

static constexpr int TICKS = 20;

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    static ScriptedPlatform platform;
    platform.bus.remembers = false;
    flight_time_init();
    flight_log_init();
    flight_v1_init();
    set_craft_cfg(&QX520_AFQT_CFG);
    return 0;
}

static void fly(AfqtMotionBase& motion)
{
    run_list_sta_t status = {};
    status.init_pos_valid_flag = 1;
    const bool valid = motion.check_valid() == MOTION_CFG_VALID;
    motion.reset();
    if (!valid || motion.init(&status) != 0) return;
    for (int tick = 0; tick < TICKS; ++tick) {
        motion.run();
        motion.check_finish();
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    extract_motion_json(std::string(text_of({data, size})).c_str());
    MotionListVec& list = get_motion_list();
    for (AfqtMotionBase* motion : list) {
        check(motion != nullptr, "no empty entry");
        fly(*motion);
        AfqtMotionFactory::afqt_motion_class_clear(motion);
    }
    clear_motion_list();
    return 0;
}
