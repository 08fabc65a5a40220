// The motions, one by one.
#include <cmath>

#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_motion_hover.h"
#include "afqt/include/afqt_motion_repeat.h"
#include "afqt/include/afqt_motion_rtl.h"
#include "afqt/include/afqt_motion_step.h"
#include "afqt/include/afqt_motion_sweep.h"
#include "afqt/include/afqt_run_list_sta.h"
#include "afqt_stand.h"

using testing::Contains;
using testing::Each;
using testing::SizeIs;

class AfqtMotions : public AfqtStand {
protected:
    // From the text of its "para_cfg"; `says` is what extract prints.
    template <typename Motion>
    std::unique_ptr<AfqtMotionBase> made(const std::string& para_cfg, const std::string& says)
    {
        cJSON* json = cJSON_Parse(std::string("{").append(para_cfg).append("}").c_str());
        EXPECT_TRUE(json != nullptr || para_cfg == "null") << para_cfg;
        std::unique_ptr<AfqtMotionBase> motion;
        EXPECT_EQ(during([&] { motion.reset(Motion::extract(json)); }), says);
        cJSON_Delete(json);
        EXPECT_NE(motion, nullptr);
        return motion;
    }
    std::unique_ptr<AfqtMotionBase> made_rtl(const std::string& para_cfg) { return made<AfqtMotionRtl>(para_cfg, ""); }

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
    const auto hover = made<AfqtMotionHover>(R"("duration": 9, "duration": 0.5, "Duration": 7)", "[JSON] in hover  \n");
    EXPECT_EQ(hover->motion_id, 1);
    EXPECT_EQ(hover->get_loop(), 0);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(hover->init(nullptr), 0);
        clock.jumps(500ms);
        EXPECT_EQ(hover->check_finish(), MOTION_DOING);
        clock.jumps(1ms);
        EXPECT_EQ(hover->check_finish(), MOTION_DONE);
        EXPECT_EQ(hover->reset(), 0);
    }
    EXPECT_EQ(hover->run(), 0);
    EXPECT_THAT(told(), ElementsAre(HOLD_STILL));
    clock.jumps(16'777'216ms - 1002ms);  // since here single precision knows even milliseconds only
    hover->init(nullptr);
    clock.jumps(501ms);
    EXPECT_EQ(hover->check_finish(), MOTION_DOING);
    clock.jumps(1ms);
    EXPECT_EQ(hover->check_finish(), MOTION_DONE);

    const struct {
        const char* para_cfg;
        int valid;
    } durations[] = {{R"("duration": 0)", 1},     {"", 1},
                     {R"("duration": 1e-18)", 1}, {R"("duration": "1")", 1},
                     {R"("duration": 0.1)", 0},   {R"("duration": -1)", 0}};
    for (const auto& [para_cfg, valid] : durations)
        EXPECT_EQ(made<AfqtMotionHover>(para_cfg, "[JSON] in hover  \n")->check_valid(), valid) << para_cfg;
    const auto negative = made<AfqtMotionHover>(R"("duration": -1)", "[JSON] in hover  \n");
    negative->init(nullptr);
    EXPECT_EQ(negative->check_finish(), MOTION_DONE);
    AfqtMotionFactory::afqt_motion_class_clear(nullptr);
}

TEST_F(AfqtMotions, RepeatCountsThroughItsEntries)
{
    const struct {
        const char* para_cfg;
        std::vector<int> indices;  // of successive runs
        std::vector<int> left;     // check_finish before the first and after each
    } repeats[] = {
        {R"("start_num": 2, "end_num": 3, "repeat_times": 2)", {1, 2, 1, 2, 1}, {1, 1, 1, 1, 1, 0}},
        {R"("start_num": 4, "end_num": 2, "repeat_times": 2)", {3, 3, 3}, {1, 1, 0, 0}},
        {R"("start_num": 2, "end_num": 3)", {1, 2, 1}, {0, 0, 0, 0}},
        {R"("repeat_times": 1)", {0, 0}, {1, 1, 0}},  // absent: entry 0
        {R"("start_num": 0, "end_num": 0, "repeat_times": 257)", {255, 255}, {1, 1, 0}},
        {R"("start_num": "2", "end_num": null, "repeat_times": {})", {}, {0}},
    };
    for (const auto& [para_cfg, indices, left] : repeats) {
        SCOPED_TRACE(para_cfg);
        const auto repeat = made<AfqtMotionRepeat>(para_cfg, "[JSON] in repeat  \n");
        EXPECT_EQ(repeat->motion_id, 7);
        EXPECT_EQ(repeat->check_valid(), 0);
        for (int round = 0; round < 2; ++round) {
            EXPECT_EQ(repeat->init(nullptr), 0);
            EXPECT_EQ(repeat->check_finish(), left[0]);
            for (size_t i = 0; i < indices.size(); ++i) {
                const std::string out = during([&] { EXPECT_EQ(repeat->run(), indices[i]) << i; });
                EXPECT_THAT(out, HasSubstr("afqt_motion repeat"));
                EXPECT_EQ(repeat->check_finish(), left[i + 1]) << i;
            }
            EXPECT_EQ(repeat->reset(), 0);
        }
    }
}

// By hand: phase = 20 ms * tick / (1000 ms * intervals), 50 ticks a second.
TEST_F(AfqtMotions, SquareWaveTickByTick)
{
    const struct {
        int gap, intervals, times;
        std::vector<std::array<int, 3>> ticks;  // from this tick on: output, result
    } waves[] = {
        {1, 1, 2, {{1, 0, 2}, {50, 3, 2}, {100, 0, 2}, {150, -3, 2}, {200, 0, 2}, {250, 0, 1}, {400, 0, 1}}},
        {0, 1, 2, {{1, 0, 2}, {50, 3, 2}, {100, -3, 2}, {150, 3, 2}, {200, 0, 2}, {250, 0, 1}, {400, 0, 1}}},
        {1, 2, 1, {{1, 0, 2}, {100, 3, 2}, {200, 0, 2}, {300, 0, 1}, {400, 0, 1}}},
        {1, 1, 0, {{1, 0, 2}, {50, 0, 1}, {400, 0, 1}}},
        {0, 1, 0, {{1, 0, 2}, {50, 3, 2}, {100, 0, 2}, {150, 0, 1}, {400, 0, 1}}},
        {1, 1, 1, {{1, 0, 2}, {50, 3, 2}, {100, 0, 2}, {150, 0, 1}, {12800, 0, 2}, {12850, 3, 2}, {12900, 0, 2}}},
        {0, 1, 253, {{1, 0, 2}, {50, 3, 2}, {12700, -3, 2}, {12750, 0, 2}, {12751, 0, 2}}},  // 256 phases: never done
        {1, 0, 3, {{1, 0, 1}, {400, 0, 1}}},
        {0, 0, 3, {{1, 0, 1}, {400, 0, 1}}},
    };
    for (const auto& wave : waves) {
        SCOPED_TRACE(testing::Message() << "gap " << wave.gap << ", " << wave.intervals << " s, " << wave.times);
        SquareWave signal(3, uint8_t(wave.gap), uint8_t(wave.intervals), uint8_t(wave.times));
        size_t phase = 0;
        for (int tick = 1; tick < wave.ticks.back()[0]; ++tick) {
            if (tick == wave.ticks[phase + 1][0]) ++phase;
            float out = 9;
            const int result = signal.calc_square_wave(&out);
            if (wave.times == 253 && tick >= 100 && tick < 12700) continue;  // alternates
            ASSERT_EQ(std::pair(out, result), std::pair(float(wave.ticks[phase][1]), wave.ticks[phase][2])) << tick;
        }
        signal.reset_counter();
        float out = 9;
        signal.calc_square_wave(&out);
        EXPECT_EQ(out, 0);
    }
}

TEST_F(AfqtMotions, SquareWaveLogsItsTicks)
{
    during([] { afqt_debug_init(); });
    SquareWave gap(2.5f, 2, 1, 1), straight(2.5f, 0, 1, 1);
    float out = 0;
    for (int i = 0; i < 50; ++i) {
        gap.calc_square_wave(&out);
        straight.calc_square_wave(&out);
    }
    const texts_t lines = logged();
    EXPECT_THAT(lines, SizeIs(100));
    EXPECT_THAT(lines, Contains("calc_gap_square_wave: counter,49,times,0,step,0.00\r\n"));
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

    const auto vertical = made<AfqtMotionStep>(
        R"("repeat_times": 257, "intervals": 1.9, "loop_id": 13, "tilt_dir": 1, "reset_flag": false, "amp": 1.5)",
        "[JSON] in step  \n");
    EXPECT_EQ(vertical->motion_id, 2);
    EXPECT_EQ(vertical->get_loop(), 13);
    EXPECT_EQ(vertical->check_valid(), 0);
    for (int round = 0; round < 2; ++round) {  // with gaps: 0, +, 0 and done at tick 150
        vertical->reset();
        vertical->init(nullptr);
        int ticks = 0;
        do {
            EXPECT_EQ(vertical->run(), 0);
        } while (++ticks < 400 && vertical->check_finish() == MOTION_DOING);
        EXPECT_EQ(ticks, 150);
        const texts_t texts = told();
        EXPECT_EQ(count(texts, "sticks 1b 0 0 101.5 0"), 50u);
        EXPECT_EQ(count(texts, "sticks 1b 0 0 100 0"), 100u) << "the last one included";
    }
    const std::map<std::string, int> ticks = {{"false", 150}, {"true", 200}, {"1", 200}, {"null", 200}, {"\"x\"", 200}};
    for (const auto& [literal, wanted] : ticks) {  // without gaps 0, +, -, 0
        const auto flagged = made<AfqtMotionStep>(
            R"("repeat_times": 1, "intervals": 1, "amp": 1, "reset_flag": )" + literal, "[JSON] in step  \n");
        int taken = 0;
        do {
            flagged->run();
        } while (++taken < 400 && flagged->check_finish() == MOTION_DOING);
        EXPECT_EQ(taken, wanted) << literal;
    }
    for (const char* intervals : {"0", "0.9", "-3", "\"1\"", "256"}) {
        const auto at_once =
            made<AfqtMotionStep>(R"("repeat_times": 5, "loop_id": 4, "amp": 2, "intervals": )" + std::string(intervals),
                                 "[JSON] in step  \n");
        at_once->run();
        EXPECT_EQ(at_once->check_finish(), MOTION_DONE) << intervals;
    }
    EXPECT_THAT(made<AfqtMotionStep>("null", "[JSON] in step  \n")->get_loop(), 0);
}

TEST_F(AfqtMotions, SweepStartsAndStopsTheFlightController)
{
    const auto sweep = made<AfqtMotionSweep>(
        R"("start_freq": 0.5, "end_freq": 20, "duration": 10, "amp": 2.5, "inj_point": 1, "inj_loop": 10)",
        "[JSON] in sweep  \n");
    EXPECT_EQ(sweep->motion_id, 3);
    EXPECT_EQ(sweep->get_loop(), 10);
    EXPECT_EQ(sweep->check_valid(), 0);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(sweep->reset(), 0);
        EXPECT_EQ(sweep->init(nullptr), 0);
        EXPECT_EQ(during([&] { sweep->run(); }), "[afqt]motion_sweep RUN\n");
        EXPECT_THAT(told(), ElementsAre("0306 22/49: 02 03 01 05 00 c8 00 19 00 0a 8d", HOLD_STILL));
        EXPECT_THAT(during([&] { sweep->run(); }), HasSubstr("sweep time 10.000000 \n"));
        during([&] {
            for (int counter = 2; counter <= 650; ++counter)
                sweep->run();
        });
        const texts_t texts = told();
        EXPECT_THAT(texts, SizeIs(650));
        EXPECT_THAT(texts, Each(HOLD_STILL));
        EXPECT_EQ(sweep->check_finish(), MOTION_DOING);
        during([&] { sweep->run(); });
        EXPECT_THAT(told(), ElementsAre("0306 22/49: 02 03 00 00 00 00 00 00 00 00 00", HOLD_STILL));
        EXPECT_EQ(sweep->check_finish(), MOTION_DONE);
        during([&] { sweep->run(); });
        EXPECT_THAT(told(), IsEmpty());
    }
    AfqtMotionSweep mapper({1, 2, 3, 4, 0, 0});
    const std::map<int, int> loops = {{0, 4}, {1, 4}, {2, 5}, {10, 13}, {11, 15}, {18, 22}, {251, 255}, {255, 3}};
    for (const auto& [loop, wanted] : loops)
        EXPECT_EQ(mapper.change_cfg_loop_to_sweep_loop(static_cast<uint8_t>(loop)), wanted) << loop;
}

TEST_F(AfqtMotions, ReturnFliesToTheStartPoint)
{
    const auto rtl = made_rtl(R"("pos_flag": false)");
    EXPECT_EQ(rtl->motion_id, 6);
    EXPECT_EQ(rtl->get_loop(), 0);
    EXPECT_EQ(during([&] { EXPECT_EQ(rtl->check_valid(), 0); }), "[afqt]check rtl\r\n");
    during([] { afqt_debug_init(); });
    EXPECT_EQ(rtl->init(&home()), 0);
    is_at(-15, -20);
    EXPECT_EQ(back(*rtl), "pro 89 02 00 | 0 0 0 0 | 4.8 6.4 | 0 0 | 0 0");
    EXPECT_THAT(logged(), Contains(testing::EndsWith(": [Rtl] pose err norm /r/n")));
    is_at(-3, 4);
    EXPECT_EQ(back(*rtl), "pro 89 00 00 | 3 -4 0 0 | 0 0 | 0 0 | 0 0");
    EXPECT_THAT(logged(), Contains(testing::EndsWith(": [Rtl] stick_cmd /r/n")));
    is_at(0.21, 0);
    back(*rtl);
    EXPECT_EQ(rtl->check_finish(), MOTION_DOING);
    is_at(0, 0.19);
    EXPECT_EQ(back(*rtl), "pro 89 00 00 | 0 0 0 0 | 0 0 | 0 0 | 0 0");
    EXPECT_EQ(rtl->check_finish(), MOTION_DONE) << "height and heading do not matter";
    is_at(-300, 0);
    EXPECT_EQ(back(*rtl), "pro 89 00 00 | 0 0 0 0 | 0 0 | 0 0 | 0 0") << "what has arrived has arrived";
    rtl->reset();
    EXPECT_EQ(rtl->check_finish(), MOTION_DOING);
    rtl->init(&sta);
    EXPECT_EQ(back(*rtl), "pro 89 02 00 | 0 0 0 0 | 8 0 | 0 0 | 0 0");

    sta.init_gps_pos[0] = 2;  // beyond the pole: no distance, hence done
    rtl->reset();
    rtl->init(&sta);
    back(*rtl);
    EXPECT_EQ(rtl->check_finish(), MOTION_DONE);
    rtl->reset();
    rtl->init(&home());
    db.drone_gps[1] = 4;
    back(*rtl);
    EXPECT_EQ(rtl->check_finish(), MOTION_DONE);
    sta.init_pos_valid_flag = 0;
    EXPECT_EQ(rtl->init(&sta), 1);
}

TEST_F(AfqtMotions, ReturnFliesToTheStartHeightAndHeading)
{
    const struct {
        const char* flag;
        float alt, yaw, start_alt, start_yaw;
        const char* frame;  // null: arrived
    } ticks[] = {
        {"alt_flag", 0.05f, 0, 0, 0, nullptr},
        {"alt_flag", -0.0999f, 0, 0, 0, nullptr},
        {"alt_flag", 0.1f, 0, 0, 0, "pro 99 00 00 | 0 0 0 0 | 0 0 | 0 0 | 0 0"},
        {"alt_flag", -0.1f, 0, 0, 0, "pro 99 00 00 | 0 0 0 0 | 0 0 | 0 0 | 0 0"},
        {"alt_flag", 100, 0, 50, 7, "pro 99 00 00 | 0 0 50 0 | 0 0 | 0 0 | 0 0"},
        {"yaw_flag", 0, 359, 3, 1, "pro 81 00 00 | 0 0 0 1 | 0 0 | 0 0 | 0 0"},  // two degrees, the long way
        {"yaw_flag", 0, 1, 3, 0, "pro 81 00 00 | 0 0 0 0 | 0 0 | 0 0 | 0 0"},
        {"yaw_flag", 0, -1, 3, 0, "pro 81 00 00 | 0 0 0 0 | 0 0 | 0 0 | 0 0"},
        {"yaw_flag", 0, 0.99f, 0, 0, nullptr},
        {"yaw_flag", 0, -0.99f, 0, 0, nullptr},
    };
    for (const auto& tick : ticks) {
        SCOPED_TRACE(testing::Message() << tick.flag << " " << tick.alt << " " << tick.yaw);
        const auto rtl = made_rtl(std::string(tick.flag).insert(0, 1, '"').append("\": false"));
        EXPECT_EQ(rtl->init(&home(tick.start_alt, tick.start_yaw)), 0);
        db.altitude = tick.alt;
        db.atti_gnd[2] = tick.yaw;
        is_at(-30, 0);
        EXPECT_EQ(back(*rtl), tick.frame != nullptr ? tick.frame : "pro 89 00 00 | 0 0 0 0 | 0 0 | 0 0 | 0 0");
        EXPECT_EQ(rtl->check_finish(), tick.frame != nullptr ? MOTION_DOING : MOTION_DONE);
    }
    const auto all = made_rtl(R"("pos_flag": false, "alt_flag": false, "yaw_flag": false, "land_flag": false)");
    all->init(&home(10, 20));
    db.altitude = 0;
    db.atti_gnd[2] = 0;
    is_at(-6, 0);
    EXPECT_EQ(back(*all), "pro 91 00 00 | 6 0 10 20 | 0 0 | 0 0 | 0 0");
    const auto none = made_rtl(R"("pos_flag": true)");
    none->init(&sta);
    back(*none);
    EXPECT_EQ(none->check_finish(), MOTION_DONE);
}
