// Log lines, process time and periodic timers, as the platform gets them.
#include <cstring>
#include <tuple>

#include "aircraft.h"
#include "flight_log/flight_log.h"
#include "flight_timer/flight_timer.h"
#include "nfz_data_upgrade/upgrade_debugger/src/upgrade_debugger.h"
#include "nfz_tfr/tfr_debugger/src/tfr_debugger.h"

class Log : public Aircraft {};

TEST_F(Log, EachWrapperHasItsOwnPrefixAndPlaceFor126Characters)
{
    const struct {
        void (*print)(const char* tag, const char* format, ...);
        const char* head;
        const char* format;
        const char* printed;
    } wrappers[] = {
        {flight_log, "flight_log/flight_log flight_log 59 128", "[vela_flight][%8.3f][%s]%s\n",
         "[vela_flight][  12.345][caller]7 of 9\n\n"},
        {nfz_upgrade_log, "nfz_data_upgrade/upgrade_debugger/src/upgrade_debugger nfz_upgrade_log 45 128",
         "[nfz_upgrade][%8.3f][%s]%s", "[nfz_upgrade][  12.345][caller]7 of 9\n"},
        {nfz_tfr_log, "nfz_tfr/tfr_debugger/src/tfr_debugger nfz_tfr_log 44 128", "[nfz_tfr][%8.3f][%s]%s\n",
         "[nfz_tfr][  12.345][caller]7 of 9\n\n"},
    };
    clock.jumps(12'345'999us);
    for (const auto& [print, head, format, printed] : wrappers) {
        print("caller", "%d of %d\n", 7, 9);
        const ScriptedLog::line_t& line = log.lines.back();
        EXPECT_EQ(std::tie(line.module, line.level), std::make_tuple(94, 1));
        EXPECT_EQ(std::tie(line.head, line.format, line.printed), std::make_tuple(head, format, printed));
        for (const size_t length : {0u, 126u, 127u, 5000u}) {
            print("caller", "%s", std::string(length, 'x').c_str());
            EXPECT_EQ(log.lines.back().text, std::string(std::min<size_t>(length, 126), 'x')) << length;
        }
    }
    const size_t before = log.lines.size();
    testing::internal::CaptureStdout();
    log.filters = true;
    for (const auto& wrapper : wrappers)
        wrapper.print("caller", "not for the log");
    flight_printf("%d\n", 1);  // switched off
    nfz_upgrade_printf("%d\n", 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(log.lines.size(), before);
}

// The product of two single-precision numbers: 1.5000001 s, and sixteenths after eleven days.
TEST_F(Log, SecondsCountFromProcessStartInSinglePrecision)
{
    for (const auto& [at, seconds] : std::initializer_list<std::pair<std::chrono::milliseconds, double>>{
             {0ms, 0}, {1ms, 0.001f}, {1500ms, 1.5000001192092896}, {1'000'000'001ms, 1'000'000.0625}}) {
        clock.jumps(at - std::chrono::milliseconds(flight_get_boot_time_ms()));
        flight_log("caller", "now");
        EXPECT_EQ(log.lines.back().seconds, seconds) << at.count();
    }
    EXPECT_THAT(log.lines.back().printed, HasSubstr("[1000000.062][caller]now"));
}

TEST_F(Log, InitHandsOverConsoleErrorsAndTheConfiguration)
{
    std::memset(&log.attrib, 0xff, sizeof log.attrib);
    EXPECT_EQ(flight_log_init(), 0);
    const kest_sketch_attrib_t& attrib = log.attrib;
    EXPECT_EQ(std::tie(attrib.log_level, attrib.log_channel, attrib.log_format), std::make_tuple(1, 0, 352));
    EXPECT_EQ(log.config_file, "/system/etc/vela.json");
    EXPECT_THAT(attrib.log_module_levels, testing::Each(0));
    EXPECT_EQ(std::tie(attrib.dump_attrib, attrib.hal_dev_list, attrib.bb_attrib, attrib.host_id),
              std::make_tuple(nullptr, nullptr, nullptr, 0u));

    log.initialize_result = -22;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    flight_log_init();
    EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::StartsWith("fail: nfz_upgrade_log_init fail"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "nfz_upgrade_log_init fail, result 0xffffffea\n");
}

TEST(Time, HasItsZeroAtInitAndItsMillisecondsWrap)
{
    ScriptedPlatform platform;
    platform.clock.jumps(100s);
    EXPECT_EQ(flight_get_boot_time_us(), 100'000'000u) << "before init process time is boot time";
    EXPECT_EQ(flight_time_init(), 0);
    for (const auto step : {0us, 999us, 1us, 4'294'967'295'000us, 1000us}) {
        platform.clock.jumps(step);
        const uint64_t process_us = platform.clock.now_us() - 100'000'000;
        EXPECT_EQ(flight_get_sys_boot_time_us(), platform.clock.now_us());
        EXPECT_EQ(flight_get_boot_time_us(), process_us);
        EXPECT_EQ(flight_get_boot_time_ms(), static_cast<uint32_t>(process_us / 1000));
        EXPECT_EQ(flight_get_sys_boot_time_ms(), flight_get_boot_time_ms());
    }
    EXPECT_EQ(flight_get_boot_time_ms(), 1u) << "2^32 + 1 ms";
}

TEST_F(Log, TimerCreationHandsOverTheDescriptorAndSetsItGoing)
{
    int ticks = 0;
    flight_timer_t timer = {"sample", 250'000, [](void* param) { ++*static_cast<int*>(param); }, &ticks, nullptr};
    clock.creation_result = -11;
    for (const auto create : {flight_timer_create, flight_timer_create_afqt}) {
        EXPECT_EQ(create(&timer), -10001);
        EXPECT_EQ(create(nullptr), -10001);
    }
    EXPECT_EQ(clock.creations, 2u) << "null never reaches the platform";
    clock.creation_result = 0;
    EXPECT_EQ(flight_timer_create(&timer), 0);
    EXPECT_EQ(flight_timer_create_afqt(&timer), 0);
    EXPECT_EQ(text_of(*clock.timers.at(0)), "sample: 250000 us, repeat 0, priority 19");
    EXPECT_EQ(text_of(*clock.timers.at(1)), "sample: 250000 us, repeat 0, priority 39");
    EXPECT_EQ(timer.timer_handle, clock.timers[1].get());
    clock.passes(1s);
    EXPECT_EQ(ticks, 8);
}
