// Run after run: commands, reloads, repeats, and what a tick costs.
#include <cmath>

#include "afqt_flight.h"

// Where a run ends does not show in the next one.
TEST_F(AfqtFlight, RunsAreAlike)
{
    const texts_t wanted = whole_flight();
    flies(6);
    ASSERT_EQ(flown(), wanted);
    const struct {
        const char* where;
        uint8_t list;
        int stations;  // so many are flown
        int more_ticks;
    } endings[] = {{"asked for take-off", 0, 1, 300},
                   {"no take-off", 0, 1, 600},
                   {"no control", 0, 2, 600},
                   {"stepping", 0, 3, 100},
                   {"on the way home", 0, 4, 103},
                   {"asking for landing", 0, 5, 600},
                   {"landed", 0, 6, 0},
                   {"empty list", 1, 1, 0}};
    has_list(list_of({}), 1);
    for (const auto& ending : endings) {
        SCOPED_TRACE(ending.where);
        flies(ending.stations, ending.list);
        is_at(-20, 0);
        tick(ending.more_ticks);
        switched(2);
        flown();
        const bool on_the_way = ending.stations > 2 && ending.stations < 4;
        const texts_t end = on_the_way ? texts_t{SWEEP_STOP, GIVE_CONTROL} : texts_t{GIVE_CONTROL};
        expect_after(1, 0, ending.stations < 6 ? end : texts_t{});
        expect_after(2, 0, {});
        flies(6);
        EXPECT_EQ(flown(), wanted);
    }
}

TEST_F(AfqtFlight, CommandsWaitForAStateThatTakesThem)
{
    switched(2);
    tick(10);
    switched(1);
    EXPECT_EQ(ext_after(1), 7) << "the newer one";
    switched(2);
    EXPECT_EQ(ext_after(1), 1);
    EXPECT_EQ(ext_after(1), 0);
    flies(1);
    switched(1);  // during a run: it starts the next one
    EXPECT_EQ(ext_after(20), 1);
    takes_off();
    gives_control();
    flies_list();
    flies_home();
    lands();
    EXPECT_EQ(ext(), 0);
    EXPECT_EQ(ext_after(1), 7);
}

// What a repeat makes of [A, repeat, B]: A's ticks and B's, as frames.
TEST_F(AfqtFlight, RepeatsKeepTheirOddSense)
{
    const auto vel = [](int amp) {  // one tick: finished at once, with a frame of its own
        return motion("kStep", R"("repeat_times": 1, "intervals": 0, "loop_id": )" + std::to_string(amp));
    };
    const std::string a = vel(4), b = vel(7);
    constexpr const char* A = "sticks 0a 0 0 0 0";
    constexpr const char* B = "sticks 4a 0 0 0 0";
    const auto repeat = [](int from, int to, int times) {
        return motion("kRepeat", R"("start_num": )" + std::to_string(from) + R"(, "end_num": )" + std::to_string(to) +
                                     R"(, "repeat_times": )" + std::to_string(times));
    };
    const struct {
        const char* what;
        texts_t list, frames;
    } lists[] = {
        {"repetitions left: stepped over, and B with it", {a, repeat(1, 1, 2), b}, {A, A}},
        {"none left: consulted, B is next", {a, repeat(1, 1, 0), b}, {A, A, B}},
        {"stepped over, then on behind B", {a, repeat(1, 1, 1), b, b, a}, {A, A, B, A}},
        {"stepped over onto one that is consulted", {a, repeat(1, 1, 1), repeat(1, 1, 0), b, b}, {A, A, B, B}},
        {"names one that names it", {a, repeat(3, 3, 0), repeat(2, 2, 0), b}, {A, A, A, B}},
        {"names entry -1", {a, repeat(0, 0, 0), b}, {A, A, B}},
        {"last: the list is over at once", {a, b, repeat(1, 2, 1)}, {A, B}},
    };
    for (const auto& [what, list, frames] : lists) {
        SCOPED_TRACE(what);
        has_list(list_of(list));
        flies(2);
        flown();
        gives_control();
        tick(20);
        const texts_t told = flown();
        EXPECT_EQ(ext(), 4);
        EXPECT_EQ(texts_t(told.begin(), std::find(told.begin(), told.end(), SWEEP_STOP)), frames);
        switched(2);
        tick(3);
    }
}

TEST_F(AfqtFlight, StartHeightAndHeadingAreThoseAtTheTakeOverOfControl)
{
    const std::string back = motion("kRtl", R"("pos_flag": false, "alt_flag": false, "yaw_flag": false)");
    has_list(list_of({hover(0.2), back}));
    bus.sync_reply = {41};
    bus.results.send_sync = 0;
    db.altitude = 7;
    on();
    EXPECT_THAT(told(), testing::Contains("0306 03/fd: ")) << "the craft table";
    takes_off();
    db.altitude = 10;
    db.atti_gnd[2] = 20;
    gives_control();
    db.altitude = 0;
    db.atti_gnd[2] = 0;
    is_at(-6, 0);
    tick(20);
    EXPECT_THAT(flown(), testing::Contains("pro 91 00 00 | 6 0 10 20 | 0 0 | 0 0 | 0 0"));
}

TEST_F(AfqtFlight, WithoutAFixTheStartPointIsZero)
{
    db.gps_ctrl_level = 2;
    on();
    takes_off();
    printed();
    gives_control();
    EXPECT_THAT(printed(), testing::Not(HasSubstr(" sssss  \r")));
    tick(220 + 100);
    flown();
    db.drone_gps[0] = -3e-6;  // 19 m from there
    db.drone_gps[1] = 0;
    expect_after(1, 4, {"pro 89 02 00 | 0 0 0 0 | 8 0 | 0 0 | 0 0"});
    db.drone_gps[0] = NAN;
    expect_after(1, 4, {HOLD_STILL});
    db.drone_gps[0] = 4;  // no position: a distance of -1 is below 0.2
    EXPECT_EQ(ext_after(2), 6);
}

TEST_F(AfqtFlight, OrdinaryTicksUseNoHeap)
{
    if (!heap_is_counted()) GTEST_SKIP() << "the sanitizers bring their own heap";
    has_list(list_of({hover(1), STEP, motion("kSweepChirpZ", R"("duration": 0.1)"), motion("kRepeat"), hover(0.2),
                      motion("kRtl", R"("pos_flag": false, "alt_flag": false, "yaw_flag": false)"), hover(1)}));
    const auto expect_no_heap = [&](int ticks, const char* what) {
        during([&] {
            std::printf("the buffer is there");
            EXPECT_EQ(heap_calls_of([&] {
                          for (int i = 0; i < ticks; ++i) {
                              clock.jumps(20ms);
                              clock.ticks("AFQT_TIMER");
                          }
                      }),
                      0u)
                << what;
        });
    };
    expect_no_heap(120, "idle");
    on();
    expect_no_heap(120, "take-off");
    takes_off();
    expect_no_heap(120, "control");
    gives_control();
    expect_no_heap(600, "list, way home");
    is_at(0.1, 0);
    expect_no_heap(1000, "landing");
    EXPECT_EQ(ext(), 6);
    is_in(12);
    db.drone_fsm = DRONE_MOTOR_OFF;
    expect_no_heap(10, "done");
    EXPECT_EQ(ext(), 0);
}
