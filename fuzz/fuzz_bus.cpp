// Bus records to both command tables with the real handlers, time passing in between. The input is a sequence of
// steps: a byte that says what happens, then what it needs. What must hold is checked after every step.
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "afqt/include/afqt.h"
#include "afqt/include/afqt_motion_cfg.h"
#include "afqt/include/afqt_motion_scheduler.h"
#include "afqt/include/afqt_wire.h"
#include "api/api.h"
#include "bus_request.h"
#include "bus_rules.h"
#include "dbi/db_bag_wire.h"
#include "dbi/dbi.h"
#include "flight_log/flight_log.h"
#include "flight_timer/flight_timer.h"
#include "flight_v1/flight_v1.h"
#include "flight_v1/flight_v1_wire.h"
#include "fuzz_file.h"
#include "nfz_data_upgrade/nfz_data_upgrade.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_data_file.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_motor.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_session.h"
#include "nfz_tfr/nfz_tfr.h"
#include "nfz_tfr/tfr_module/src/tfr_file.h"
#include "nfz_tfr/tfr_module/src/tfr_module_update.h"
#include "scripted_platform.h"

// The mount command would cost a process per step and decides nothing here. The fuzzer's own commands are run: it
// merges its corpus by them.
extern "C" int system(const char* command)
{
    if (command != nullptr && std::strncmp(command, "mount ", 6) == 0) return 0;
    static const auto real = reinterpret_cast<int (*)(const char*)>(dlsym(RTLD_NEXT, "system"));
    return real(command);
}

// Stacks of allocations cost a sixth of the time; a finding is run again with ASAN_OPTIONS=malloc_context_size=30.
extern "C" const char* __asan_default_options()
{
    return "malloc_context_size=1:quarantine_size_mb=16";
}

// Of one input; what it holds beyond is not heard. Twenty seconds of silence must fit, and the test's time-outs.
static constexpr unsigned MOST_STEPS = 48;
static constexpr unsigned MOST_HALF_SECONDS = 50;
static constexpr unsigned MOST_TICKS = 600;
static constexpr uint8_t TIME_PASSES = 0xf0;  // kinds from here on
static constexpr uint8_t TEST_TICKS = 0xe0;
static constexpr uint8_t MOTION_LISTS = 4;

static ScriptedPlatform* platform;
static BusRules rules;
static bool pushed;       // the record of the flight controller's data is not empty
static bool switched_on;  // the flight test may be
static bool tfr_touched;

static void forget_traffic()
{
    platform->bus.replies.clear();
    platform->bus.sent.clear();
    platform->log.lines.clear();
}

static void deliver(const record_t& record)
{
    pushed |= record.set == SET_FLIGHT_CONTROLLER && record.id == ID_DB_BAG_PUSH;
    switched_on |= record.set == SET_AFQT && record.id == CMD_ID_AFQT_CMD;
    tfr_touched |= record.set == SET_FLIGHT_CONTROLLER && record.id == ID_TFR_UPDATE;
    const bool taken = platform->bus.delivers(record);
    rules.check_answer(record, taken, platform->bus.replies);
}

static void pass_half_seconds(unsigned count)
{
    platform->clock.passes(std::chrono::milliseconds(500 * count));
    rules.check_time(count, platform->bus.sent);
    check(platform->bus.replies.empty(), "no reply without a request");
}

// The test's timer is not the platform's: at 50 Hz it would eat the time of everything else.
static void tick_test(unsigned count)
{
    // A list that is not there ends the process.
    set_motion_cfg_file_index(get_motion_cfg_file_index() % MOTION_LISTS);
    while (count-- > 0) {
        fc_afqt_timer_handler(nullptr);
        check_heartbeats(platform->bus.sent);
        platform->bus.sent.clear();
    }
}

static void write_motion_lists()
{
    static constexpr std::string_view lists[MOTION_LISTS] = {
        R"({"attribute":{"motion_num":1},"motion0":{"motion_id":"kHover","para_cfg":{"duration":1}}})",
        R"({"attribute":{"motion_num":2},"motion0":{"motion_id":"kStep","para_cfg":{"duration":1}},)"
        R"("motion1":{"motion_id":"kRtl","para_cfg":{}}})",
        R"({"attribute":{"motion_num":2},"motion0":{"motion_id":"kLine","para_cfg":{}},)"
        R"("motion1":{"motion_id":"kRepeat","para_cfg":{}}})",
        R"({"attribute":)"};
    mkdir("/tmp/SD0", 0755);
    mkdir("/tmp/SD0/factory_test", 0755);
    for (size_t i = 0; i < std::size(lists); ++i) {
        const std::string name = "/tmp/SD0/factory_test/afqt_motion_cfg_" + std::to_string(i) + ".json";
        write_file(name.c_str(), {reinterpret_cast<const uint8_t*>(lists[i].data()), lists[i].size()});
    }
}

static void say_what_was_not_reached()
{
    for (size_t i = 0; i < std::size(COMMANDS); ++i) {
        if (reached[i]) continue;
        std::fprintf(stderr, "not reached: 0x%04x (0x%02x, 0x%02x)\n", COMMANDS[i].host, COMMANDS[i].set,
                     COMMANDS[i].id);
    }
}

// Off leads back to idle from wherever the test is. Its lists stay allocated for the runner; here nobody runs.
static void end_test()
{
    afqt::get_afqt_main().set_afqt_onoff_cmd(kAfqtOff);
    tick_test(8);
    check(afqt::get_afqt_main().get_curr_sta_id() == afqt::MSTA_MOTION_IDEL, "off leads back to idle");
    afqt::get_afqt_main().set_afqt_onoff_cmd(kAfqtIdle);
    for (AfqtMotionBase* motion : get_motion_list())
        AfqtMotionFactory::afqt_motion_class_clear(motion);
    clear_motion_list();
    switched_on = false;
}

// Nothing of an input is left behind, memory included, so that a finding repeats and no leak hides.
static void clear_up()
{
    if (switched_on) end_test();
    if (pushed)
        platform->bus.delivers({HOST_FLIGHT_CONTROLLER, HOST_FLIGHT_SERVICE, SET_FLIGHT_CONTROLLER, ID_DB_BAG_PUSH, 0,
                                0, bytes_t(1 + sizeof(db_bag1_t))});
    if (tfr_touched) {
        set_tfr_update_status(TFR_UPDATE_STATE_IDLE);
        tfr_update_event_reset();
        unlink(TFR_FILE);
    }
    pushed = tfr_touched = false;
    upgrade_desc_reset(get_upgrade_desc());
    if (!rules.model().upgrade.file().empty()) upgrade_delete_data();
    check_set_is_app_req_upgrade(0);
    set_regist_motor_error_fail();
    rules.forget();
    forget_traffic();
}

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
    std::atexit(say_what_was_not_reached);
    platform = new ScriptedPlatform;
    write_motion_lists();
    flight_time_init();
    flight_log_init();
    flight_v1_init();
    api_init();
    dbi_init();
    upgrade_init();
    tfr_init();
    platform->clock.creation_result = -EAGAIN;
    afqt_init();
    clear_up();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    platform->log.filters = size % 8 != 0;  // printing floating-point times is dear
    Input input(data, size);
    unsigned half_seconds = MOST_HALF_SECONDS;
    unsigned ticks = MOST_TICKS;
    for (unsigned step = 0; step < MOST_STEPS && !input.empty(); ++step) {
        const uint8_t kind = input.byte();
        if (kind >= TIME_PASSES) {
            const unsigned count = std::min(kind - TIME_PASSES + 1u, half_seconds);
            half_seconds -= count;
            pass_half_seconds(count);
        } else if (kind >= TEST_TICKS) {
            const unsigned place = kind - TEST_TICKS + 1u;
            const unsigned count = std::min(2 * place * place, ticks);
            ticks -= count;
            tick_test(count);
        } else {
            deliver(take_record(input, COMMANDS[kind % std::size(COMMANDS)], rules.model()));
        }
        rules.check_session();
        forget_traffic();
    }
    check_file_stayed();
    clear_up();
    return 0;
}
