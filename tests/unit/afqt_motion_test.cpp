// The motions, one by one.
#include <cmath>

#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_motion_hover.h"
#include "afqt/include/afqt_motion_line.h"
#include "afqt/include/afqt_motion_repeat.h"
#include "afqt/include/afqt_motion_rtl.h"
#include "afqt/include/afqt_motion_step.h"
#include "afqt/include/afqt_motion_sweep.h"
#include "afqt/include/afqt_run_list_sta.h"
#include "afqt_stand.h"

using testing::AllOf;
using testing::Each;
using testing::EndsWith;
using testing::SizeIs;

class AfqtMotions : public AfqtStand {
protected:
    // From the text of its "para_cfg". extract prints the kind, but for a return.
    template <typename Motion>
    std::unique_ptr<AfqtMotionBase> made(const std::string& para_cfg)
    {
        cJSON* json = cJSON_Parse(std::string("{").append(para_cfg).append("}").c_str());
        EXPECT_TRUE(json != nullptr || para_cfg == "null") << para_cfg;
        std::unique_ptr<AfqtMotionBase> motion;
        const std::string says = during([&] { motion.reset(Motion::extract(json)); });
        cJSON_Delete(json);
        static const std::map<int, std::string> kinds = {
            {1, "hover"}, {2, "step"}, {3, "sweep"}, {5, "line"}, {7, "repeat"}};
        const auto kind = kinds.find(motion->motion_id);
        EXPECT_EQ(says, kind == kinds.end() ? "" : "[JSON] in " + kind->second + "  \n");
        return motion;
    }
    static void expect_is(AfqtMotionBase& motion, uint8_t id, uint8_t loop)
    {
        EXPECT_EQ(motion.motion_id, id);
        EXPECT_EQ(motion.get_loop(), loop);
        EXPECT_EQ(motion.check_valid(), 0);
    }

    // One tick of the return; its frame. Home is the start point.
    std::string back(AfqtMotionBase& motion)
    {
        EXPECT_EQ(motion.run(), 0);
        const texts_t texts = told();
        return texts.size() == 1 ? texts[0] : std::to_string(texts.size()) + " messages";
    }
    run_list_sta_t& home(float alt = 0, float yaw = 0)
    {
        is_at(0, 0);
        sta.init_gps_pos[0] = db.drone_gps[0];
        sta.init_gps_pos[1] = db.drone_gps[1];
        sta.init_alt = alt;
        sta.init_yaw = yaw;
        sta.init_pos_valid_flag = 1;
        return sta;
    }
    run_list_sta_t sta;
};

TEST_F(AfqtMotions, HoverLastsLongerThanItsDuration)
{
    const auto hover = made<AfqtMotionHover>(R"("duration": 9, "duration": 0.5, "Duration": 7)");
    expect_is(*hover, 1, 0);
    EXPECT_EQ(hover->run(), 0);
    EXPECT_THAT(told(), ElementsAre(HOLD_STILL));
    const auto lasts = [&](int milliseconds) {
        EXPECT_EQ(hover->init(nullptr), 0);
        clock.jumps(std::chrono::milliseconds(milliseconds));
        EXPECT_EQ(hover->check_finish(), MOTION_DOING);
        clock.jumps(1ms);
        EXPECT_EQ(hover->check_finish(), MOTION_DONE);
        EXPECT_EQ(hover->reset(), 0);
    };
    lasts(500);
    lasts(500);
    clock.jumps(16'777'216ms - 1002ms);  // since here single precision knows even milliseconds only
    lasts(501);

    for (const char* none : {"", R"("duration": 0)", R"("duration": 1e-18)", R"("duration": "1")"})
        EXPECT_EQ(made<AfqtMotionHover>(none)->check_valid(), 1) << none;
    const auto negative = made<AfqtMotionHover>(R"("duration": -1)");
    EXPECT_EQ(negative->check_valid(), 0);
    negative->init(nullptr);
    EXPECT_EQ(negative->check_finish(), MOTION_DONE);
}

// What the runner makes of it is told by whole flights.
TEST_F(AfqtMotions, RepeatCountsThroughItsEntries)
{
    const auto repeat = made<AfqtMotionRepeat>(R"("start_num": 2, "end_num": 3, "repeat_times": 2)");
    expect_is(*repeat, 7, 0);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(repeat->init(nullptr), 0);
        for (const int index : {1, 2, 1, 2}) {
            EXPECT_EQ(repeat->check_finish(), 1);
            EXPECT_THAT(during([&] { EXPECT_EQ(repeat->run(), index); }), HasSubstr("afqt_motion repeat"));
        }
        EXPECT_EQ(repeat->check_finish(), 1);
        during([&] { repeat->run(); });
        EXPECT_EQ(repeat->check_finish(), 0);
        EXPECT_EQ(repeat->reset(), 0);
    }
}

// By hand: phase = 20 ms * tick / (1000 ms * intervals), 50 ticks a second.
TEST_F(AfqtMotions, StepIsASquareWaveTickByTick)
{
    const std::vector<std::array<int, 3>> at_once = {{1, 0, 1}, {400, 0, 1}};
    const struct {
        std::string reset_flag, intervals;
        int times;
        std::vector<std::array<int, 3>> ticks;  // from this tick on: output, done
    } waves[] = {
        {"false", "1", 258, {{1, 0, 0}, {50, 3, 0}, {100, 0, 0}, {150, -3, 0}, {200, 0, 0}, {250, 0, 1}, {400, 0, 1}}},
        {"true", "1", 2, {{1, 0, 0}, {50, 3, 0}, {100, -3, 0}, {150, 3, 0}, {200, 0, 0}, {250, 0, 1}, {400, 0, 1}}},
        {"false", "2.9", 1, {{1, 0, 0}, {100, 3, 0}, {200, 0, 0}, {300, 0, 1}, {400, 0, 1}}},
        {"1", "1", 0, {{1, 0, 0}, {50, 3, 0}, {100, 0, 0}, {150, 0, 1}, {400, 0, 1}}},
        // 256 phases: never done.
        {"\"x\"", "1", 253, {{1, 0, 0}, {50, 3, 0}, {12700, -3, 0}, {12750, 0, 0}, {12751, 0, 0}}},
        {"false", "0.9", 3, at_once},
        {"true", "256", 3, at_once},
        {"true", "\"1\"", 3, at_once},
    };
    for (const auto& [reset_flag, intervals, times, ticks] : waves) {
        SCOPED_TRACE(reset_flag + " " + intervals + " " + std::to_string(times));
        const auto step =
            made<AfqtMotionStep>(R"("loop_id": 4, "amp": 3, "reset_flag": )" + reset_flag + R"(, "intervals": )" +
                                 intervals + R"(, "repeat_times": )" + std::to_string(times));
        expect_is(*step, 2, 4);
        size_t phase = 0;
        for (int tick = 1; tick < ticks.back()[0]; ++tick) {
            if (tick == ticks[phase + 1][0]) ++phase;
            EXPECT_EQ(step->run(), 0);
            const texts_t frames = told();
            if (times == 253 && tick >= 100 && tick < 12700) continue;  // alternates
            ASSERT_THAT(frames, ElementsAre("sticks 0a " + std::to_string(ticks[phase][1]) + " 0 0 0")) << tick;
            ASSERT_EQ(step->check_finish(), ticks[phase][2] == 1 ? MOTION_DONE : MOTION_DOING) << tick;
        }
        step->reset();
        step->run();
        EXPECT_EQ(step->check_finish(), ticks[0][2] == 1 ? MOTION_DONE : MOTION_DOING) << "from the start again";
        told();
    }
    during([] { afqt_debug_init(); });
    float out = 0;
    SquareWave without_length(2.5f, 2, 0, 1), straight(2.5f, 0, 1, 1);
    for (int i = 0; i < 50; ++i)
        straight.calc_square_wave(&out);
    without_length.calc_square_wave(&out);
    const texts_t lines = logged();
    EXPECT_THAT(lines, SizeIs(50));
    EXPECT_EQ(lines.back(), "calc_no_gap_square_wave: counter,50,times,1,step,2.50\r\n");
}

TEST_F(AfqtMotions, StepExcitesItsLoop)
{
    db.altitude = 100;
    db.atti_gnd[2] = -30;
    const std::map<int, const char*> frames = {
        // with value 4
        {4, "sticks 0a 4 0 0 0"}, {5, "sticks 0a 0 4 0 0"},    {6, "sticks 03 0 0 0 -26"}, {7, "sticks 4a 4 0 0 0"},
        {8, "sticks 4a 0 4 0 0"}, {13, "sticks 1b 0 0 104 0"}, {17, "sticks 0b 4 0 0 0"}};
    AfqtMotionStep step({1, 1, 4, 1, 0, 4});
    EXPECT_EQ(step.init(nullptr), 0);
    for (int loop = 0; loop < 256; ++loop) {
        EXPECT_EQ(step.send_cmd_by_loop(static_cast<uint8_t>(loop), 4), 0);
        EXPECT_THAT(told(), ElementsAre(frames.contains(loop) ? frames.at(loop) : HOLD_STILL)) << loop;
    }
}

TEST_F(AfqtMotions, SweepStartsAndStopsTheFlightController)
{
    const auto sweep = made<AfqtMotionSweep>(
        R"("start_freq": 0.5, "end_freq": 20, "duration": 10, "amp": 2.5, "inj_point": 1, "inj_loop": 10)");
    expect_is(*sweep, 3, 10);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(sweep->reset(), 0);
        EXPECT_EQ(sweep->init(nullptr), 0);
        EXPECT_EQ(during([&] { sweep->run(); }), "[afqt]motion_sweep RUN\n");
        EXPECT_THAT(told(), ElementsAre("0306 22/49: 02 03 01 05 00 c8 00 19 00 0a 8d", HOLD_STILL));
        EXPECT_THAT(during([&] { sweep->run(); }), HasSubstr("sweep time 10.000000 \n"));
        during([&] {
            for (int counter = 2; counter <= 651; ++counter) {
                EXPECT_EQ(sweep->check_finish(), MOTION_DOING);
                sweep->run();
            }
        });
        texts_t texts = told();
        EXPECT_EQ(texts.at(650), "0306 22/49: 02 03 00 00 00 00 00 00 00 00 00");
        texts.erase(texts.begin() + 650);
        EXPECT_THAT(texts, AllOf(SizeIs(651), Each(HOLD_STILL)));
        EXPECT_EQ(sweep->check_finish(), MOTION_DONE);
    }
    AfqtMotionSweep mapper({1, 2, 3, 4, 0, 0});
    const std::map<int, int> loops = {{0, 4}, {1, 4}, {2, 5}, {10, 13}, {11, 15}, {18, 22}, {251, 255}, {255, 3}};
    for (const auto& [loop, wanted] : loops)
        EXPECT_EQ(mapper.change_cfg_loop_to_sweep_loop(static_cast<uint8_t>(loop)), wanted) << loop;
}

TEST_F(AfqtMotions, ReturnFliesToTheStart)
{
    const std::string position = R"("pos_flag": false)", height = R"("alt_flag": false)",
                      heading = R"("yaw_flag": false)";
    const std::string all = position + "," + height + "," + heading + R"(, "land_flag": false)";
    constexpr const char* ARRIVED = "pro 89 00 00 | 0 0 0 0 | 0 0 | 0 0 | 0 0";
    constexpr const char* CLIMBS = "pro 99 00 00 | 0 0 0 0 | 0 0 | 0 0 | 0 0";
    constexpr const char* TURNS = "pro 81 00 00 | 0 0 0 0 | 0 0 | 0 0 | 0 0";
    struct pose_t {
        float alt, yaw;
    };
    const struct {
        std::string para_cfg;
        double north, east;
        pose_t here, start;
        const char* frame;
    } ticks[] = {
        {position, -9, -12, {9, 9}, {}, "pro 89 02 00 | 0 0 0 0 | 4.8 6.4 | 0 0 | 0 0"},
        {position, -3, 4, {9, 9}, {}, "pro 89 00 00 | 3 -4 0 0 | 0 0 | 0 0 | 0 0"},
        {position, 0.21, 0, {9, 9}, {}, "pro 89 00 00 | -0.21 0 0 0 | 0 0 | 0 0 | 0 0"},
        {position, 0, 0.19, {9, 9}, {}, ARRIVED},  // height and heading do not matter
        {height, -30, 0, {0.05f, 0}, {}, ARRIVED},
        {height, -30, 0, {0.1f, 0}, {}, CLIMBS},
        {height, -30, 0, {100, 0}, {50, 7}, "pro 99 00 00 | 0 0 50 0 | 0 0 | 0 0 | 0 0"},
        {heading, -30, 0, {0, -0.99f}, {}, ARRIVED},
        {heading, -30, 0, {0, -1}, {}, TURNS},
        {heading, -30, 0, {0, 359.5f}, {3, 0}, TURNS},  // the long way
        {all, -6, 0, {0, 0}, {10, 20}, "pro 91 00 00 | 6 0 10 20 | 0 0 | 0 0 | 0 0"},
        {R"("pos_flag": true)", -30, 0, {0, 0}, {}, ARRIVED},
    };
    for (const auto& [para_cfg, north, east, here, start, frame] : ticks) {
        SCOPED_TRACE(testing::Message() << para_cfg << " " << north << " " << here.alt << " " << here.yaw);
        const auto rtl = made<AfqtMotionRtl>(para_cfg);
        EXPECT_EQ(rtl->init(&home(start.alt, start.yaw)), 0);
        db.altitude = here.alt;
        db.atti_gnd[2] = here.yaw;
        is_at(north, east);
        EXPECT_EQ(back(*rtl), frame);
        const bool arrived = frame == std::string(ARRIVED);
        EXPECT_EQ(rtl->check_finish(), arrived ? MOTION_DONE : MOTION_DOING);
        is_at(-300, 0);
        if (arrived) {
            EXPECT_EQ(back(*rtl), ARRIVED) << "once and for all";
        }
        rtl->reset();
        EXPECT_EQ(rtl->check_finish(), MOTION_DOING);
    }
}

TEST_F(AfqtMotions, ReturnNeedsAStartPointAndEndsWhereThereIsNoDistance)
{
    const auto rtl = made<AfqtMotionRtl>(R"("pos_flag": false)");
    EXPECT_EQ(during([&] { expect_is(*rtl, 6, 0); }), "[afqt]check rtl\r\n");
    EXPECT_EQ(rtl->init(&sta), 1);
    during([] { afqt_debug_init(); });
    rtl->init(&home());
    is_at(5, 0);
    back(*rtl);
    EXPECT_THAT(logged(), ElementsAre(EndsWith(": [Rtl] pose err norm /r/n"), EndsWith(": [Rtl] stick_cmd /r/n")));
    db.drone_gps[1] = 4;
    back(*rtl);
    EXPECT_EQ(rtl->check_finish(), MOTION_DONE);
    rtl->reset();
    home().init_gps_pos[0] = 2;  // beyond the pole
    rtl->init(&sta);
    back(*rtl);
    EXPECT_EQ(rtl->check_finish(), MOTION_DONE);
}

TEST_F(AfqtMotions, LineIsRefusedUnlessItMakesSense)
{
    const auto valid = [&](const std::string& para_cfg) { return made<AfqtMotionLine>(para_cfg)->check_valid() == 0; };
    const auto stick = [](const std::string& name, const std::string& items) {
        return "\"stick_" + name + "\": [" + items + "]";
    };
    const std::string item = R"({"time": 1, "stick_value": 50})", tilt = stick("tilt", item);
    EXPECT_FALSE(valid(tilt)) << "no craft table";
    set_craft_cfg(&RV880_AFQT_CFG);
    std::string many = item;
    for (int i = 1; i < 32; ++i)
        many += "," + item;
    for (const std::string& flown : {many, item, std::string(R"({"time": 600})"),
                                     std::string(R"({"time": -1, "time": 0.001, "stick_value": -100})")})
        EXPECT_TRUE(valid(stick("tilt", flown))) << flown;
    for (const std::string& refused :
         texts_t{"", "5", "{}", R"({"time": "1"})", R"({"time": 0})", R"({"time": 600.1})",
                 R"({"time": 1, "stick_value": -100.1})", R"({"time": 1, "stick_value": 1e999})", many + "," + item})
        EXPECT_FALSE(valid(stick("tilt", refused))) << refused;
    EXPECT_TRUE(valid(stick("vert", R"({"time": 1, "vert_mode": 2})")));
    EXPECT_FALSE(valid(stick("vert", R"({"time": 1, "vert_mode": 3})")));
    EXPECT_TRUE(valid(stick("yaw", R"({"time": 1, "yaw_mode": 1})")));
    EXPECT_FALSE(valid(stick("yaw", R"({"time": 1, "yaw_mode": 2})")));
    for (const char* flown : {R"(, "flight_mode": 1)", R"(, "height_min": -3, "height_max": -2)"})
        EXPECT_TRUE(valid(tilt + flown)) << flown;
    for (const char* refused :
         {R"(, "flight_mode": 2)", R"(, "flight_dis": -1)", R"(, "vert_vel": -1)", R"(, "yaw_rate": -1)",
          R"(, "flight_yaw": 1e999)", R"(, "height_min": 1, "height_max": 0.5)"})
        EXPECT_FALSE(valid(tilt + refused)) << refused;
    for (const char* refused : {"", "null", R"("stick_tilt": {"time": 1})"})
        EXPECT_FALSE(valid(refused)) << refused;
}

// What an aircraft without a fix, a height or a heading can still fly.
TEST_F(AfqtMotions, LineTrustsNoDataThatIsNone)
{
    set_craft_cfg(&QX520_AFQT_CFG);
    const std::string climb = R"("height_max": 9, "stick_vert": [{"time": 1, "stick_value": 100}])";
    const auto short_line = made<AfqtMotionLine>(climb + R"(, "flight_dis": 10)");
    EXPECT_EQ(short_line->init(nullptr), 1) << "nothing to measure the distance by";
    short_line->run();
    EXPECT_EQ(short_line->check_finish(), MOTION_DONE);
    for (const double north : {10.01, 1e8, double{NAN}}) {
        is_at(0, 0);
        short_line->reset();
        EXPECT_EQ(short_line->init(nullptr), 0);
        short_line->run();
        is_at(9.99, 0);
        short_line->run();
        EXPECT_EQ(short_line->check_finish(), MOTION_DOING);
        is_at(north, 0);
        short_line->run();
        EXPECT_EQ(short_line->check_finish(), MOTION_DONE) << north;
    }
    told();
    const auto line = made<AfqtMotionLine>(climb);
    db.altitude = NAN;
    line->run();
    EXPECT_THAT(told(), ElementsAre("sticks 49 0 0 0 0"));
    line->reset();
    db.atti_gnd[2] = NAN;
    line->run();
    EXPECT_THAT(told(), ElementsAre(HOLD_STILL));
    EXPECT_EQ(line->check_finish(), MOTION_DONE);
}
