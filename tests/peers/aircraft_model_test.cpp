// The simulated aircraft without a bus: what it answers to sticks, commands and sweeps, in its own time.
#include "flight_controller/aircraft_model.h"

#include <gmock/gmock.h>

#include <numbers>

#include "flight_controller/loop_response.h"

namespace {

using peers::aircraft_event;
using peers::flight_row_t;
using peers::stick_command_t;
using testing::ElementsAre;
using testing::Le;

constexpr double DEGREE = peers::RADIANS_PER_DEGREE;

class Aircraft : public testing::Test {
protected:
    void build(const peers::aircraft_config_t& config)
    {
        model.emplace(config);
        model->set_observer([this](const flight_row_t& row) { rows.push_back(row); });
    }

    void fly(double seconds)
    {
        for (long steps = std::lround(seconds / peers::STEP_S); steps > 0; steps--)
            model->step();
    }

    // In the air under external control, at rest.
    void hover(const peers::aircraft_config_t& config = {})
    {
        build(config);
        EXPECT_TRUE(model->basic_command(API_CMD_AUTO_TAKEOFF, false));
        fly(12);
        EXPECT_TRUE(model->external_control(MIS_ON));
        fly(2);
        model->take_events();
        rows.clear();
    }

    // The sticks at 50 Hz.
    void fly(double seconds, const stick_command_t& sticks)
    {
        for (double end = model->time() + seconds; model->time() < end - 1e-6; fly(0.02))
            EXPECT_TRUE(model->sticks(sticks));
    }

    std::vector<aircraft_event> happened()
    {
        std::vector<aircraft_event> kinds;
        for (const peers::aircraft_event_t& event : model->take_events())
            kinds.push_back(event.kind);
        return kinds;
    }

    peers::vec2_t place() const { return {model->truth().position.x, model->truth().position.y}; }
    double height() const { return -model->truth().position.z; }

    std::optional<peers::AircraftModel> model;
    std::vector<flight_row_t> rows;
};

// One step of the sticks, what it moves, and how that should move.
struct step_t {
    const char* name;
    double seconds;  // long enough to see it settle, short enough that nothing is flown upside down
    double size;
    stick_command_t sticks;
    peers::vec3_t flight_row_t::*moved;
    double peers::vec3_t::*axis;
    double (*expected)(double time);  // for a step of one
};

// As large as the formulas are said to hold for, at the heading of 30 degrees and above ground at 520 m.
std::vector<step_t> steps()
{
    using namespace peers;
    using row = flight_row_t;
    const auto tilt = [](double t) { return angle_step_response(TILT_GAINS, t); };
    const auto tilt_rate = [](double t) { return rate_step_response(TILT_GAINS, t); };
    const auto yaw = [](double t) { return angle_step_response(YAW_GAINS, t); };
    const auto yaw_rate = [](double t) { return rate_step_response(YAW_GAINS, t); };
    const auto height = [](double t) { return angle_step_response(HEIGHT_GAINS, t); };
    const auto climb = [](double t) { return rate_step_response(HEIGHT_GAINS, t); };
    const auto pushed = [](double t) { return t - MOTOR_LAG_S * climb_acceleration_step_response(t); };
    const auto stick = [](horiz_mode_t mode, vec2_t horizontal) {
        return stick_command_t{.horizontal_mode = mode, .horizontal = horizontal};
    };
    const stick_command_t turn = {.yaw_mode = YAW_MODE_ANG, .yaw = 50};
    const stick_command_t rise = {.vertical_mode = VERT_MODE_POS, .vertical = 520 + TAKEOFF_HEIGHT + 1};
    const stick_command_t push = {.vertical_mode = VERT_MODE_ACC, .vertical = 1};
    return {
        {"roll", 0.5, 15 * DEGREE, stick(HORIZ_MODE_ATTI, {15, 0}), &row::angles, &vec3_t::x, tilt},
        {"pitch", 0.5, 15 * DEGREE, stick(HORIZ_MODE_ATTI, {0, 15}), &row::angles, &vec3_t::y, tilt},
        {"roll rate", 0.4, 40 * DEGREE, stick(HORIZ_MODE_ANG_VEL, {40, 0}), &row::rates, &vec3_t::x, tilt_rate},
        {"pitch rate", 0.4, 40 * DEGREE, stick(HORIZ_MODE_ANG_VEL, {0, 40}), &row::rates, &vec3_t::y, tilt_rate},
        {"forward", 2.5, 2, stick(HORIZ_MODE_VEL, {2, 0}), &row::velocity, &vec3_t::x, speed_step_response},
        {"right", 2.5, 2, stick(HORIZ_MODE_VEL, {0, 2}), &row::velocity, &vec3_t::y, speed_step_response},
        {"yaw", 1.5, 20 * DEGREE, turn, &row::angles, &vec3_t::z, yaw},
        {"yaw rate", 1.5, 40 * DEGREE, {.yaw = 40}, &row::rates, &vec3_t::z, yaw_rate},
        {"height", 2.5, 1, rise, &row::position, &vec3_t::z, height},
        {"climb", 1.5, 1, {.vertical = 1}, &row::velocity, &vec3_t::z, climb},
        {"climb by acceleration", 0.4, 1, push, &row::velocity, &vec3_t::z, pushed},
    };
}

TEST_F(Aircraft, AnswersStepsAsItsFormulasSay)
{
    for (step_t step : steps()) {
        hover({.ground_altitude = 520, .heading = 30 * DEGREE});
        const double start = model->time();
        step.sticks.stabilized = false;
        fly(step.seconds, step.sticks);
        const auto moved = [&](const flight_row_t& row) { return row.*step.moved.*step.axis; };
        double worst = 0;
        for (const flight_row_t& row : rows) {
            const double part = (moved(row) - moved(rows[0])) / step.size;
            worst = std::fmax(worst, std::fabs(part - step.expected(row.time - start)));
        }
        EXPECT_GT(rows.size(), 70u);
        EXPECT_THAT(worst, Le(0.02)) << step.name;
    }
}

TEST_F(Aircraft, TakesOffGoesHomeAndLands)
{
    build({.noise = true});
    EXPECT_FALSE(model->basic_command(API_CMD_AUTO_LANDING, false)) << "on the ground";
    EXPECT_FALSE(model->external_control(MIS_ON)) << "on the ground";
    EXPECT_FALSE(model->basic_command(99, false));
    EXPECT_FALSE(model->basic_command(API_CMD_AUTO_TAKEOFF, true)) << "motors held";
    fly(1);
    EXPECT_EQ(height(), 0);
    EXPECT_THAT(happened(), ElementsAre(aircraft_event::takeoff_refused));

    // The mode that it is in afterwards.
    const auto obeys = [this](uint8_t command) {
        EXPECT_TRUE(model->basic_command(command, false)) << int{command};
        return model->mode();
    };
    EXPECT_EQ(obeys(API_CMD_AUTO_TAKEOFF), KCTRL_AUTOTAKEOFF);
    fly(8);
    EXPECT_EQ(model->mode(), KCTRL_GPS_ATTI);
    EXPECT_EQ(model->state(), peers::flight_state::in_air);
    EXPECT_NEAR(height(), 1.2, 0.1);
    EXPECT_THAT(happened(),
                ElementsAre(aircraft_event::mode_changed, aircraft_event::took_off, aircraft_event::mode_changed));

    EXPECT_TRUE(model->external_control(MIS_ON));
    fly(4, {.frame = GROUND_LEVEL, .horizontal = {3, -2}});
    EXPECT_GT(peers::length(place()), 8);
    EXPECT_EQ(obeys(API_CMD_CMD_GO_HOME), KCTRL_NAVI_GOHOME);
    fly(1);
    EXPECT_EQ(obeys(API_CMD_EXIT_GO_HOME), KCTRL_GPS_ATTI);
    EXPECT_EQ(obeys(API_CMD_AUTO_LANDING), KCTRL_AUTOLANDING);
    fly(0.5);
    obeys(API_CMD_EXIT_LANDING);
    fly(3);
    EXPECT_EQ(model->state(), peers::flight_state::in_air);
    obeys(API_CMD_CMD_GO_HOME);
    fly(25);
    EXPECT_EQ(model->state(), peers::flight_state::motors_off);
    EXPECT_EQ(model->mode(), KCTRL_GPS_ATTI);
    EXPECT_EQ(height(), 0);
    EXPECT_LT(peers::length(place()), 0.4);
    obeys(API_CMD_AUTO_TAKEOFF);
}

TEST_F(Aircraft, HoversWithinTenCentimetresInNoiseAndWind)
{
    for (const peers::wind_t& wind : {peers::wind_t{}, peers::wind_t{{4, -3}, 0}, peers::wind_t{{2, 0}, 0.5}}) {
        hover({.wind = wind, .noise = true, .seed = 7});
        fly(15, stick_command_t{});  // has learnt the wind
        const peers::vec3_t start = model->truth().position;
        double worst = 0;
        for (int i = 0; i < 300; i++) {
            fly(0.1, stick_command_t{});
            const peers::vec3_t moved = model->truth().position - start;
            worst = std::fmax(worst, std::hypot(moved.x, moved.y, moved.z));
        }
        EXPECT_GT(worst, 0.001) << "noise moves it";
        EXPECT_LT(worst, 0.1) << "wind " << wind.mean.x << ' ' << wind.mean.y << ", gusts " << wind.gusts;
    }
    const auto end = [this](uint64_t seed) {
        hover({.wind = {{1, 1}, 1}, .noise = true, .seed = seed});
        return place().x;
    };
    const double first = end(3);
    EXPECT_EQ(end(3), first) << "the same seed flies the same";
    EXPECT_NE(end(4), first);
}

TEST_F(Aircraft, HoldsWhenTheSticksStop)
{
    hover();
    fly(2, {.horizontal = {2, 0}, .yaw = 30});
    fly(0.45);
    EXPECT_GT(model->truth().velocity.x, 0.2) << "still obeys";
    EXPECT_THAT(happened(), ElementsAre());
    fly(6);
    EXPECT_THAT(happened(), ElementsAre(aircraft_event::sticks_lost));
    EXPECT_EQ(model->mode(), KCTRL_NAVI_JOYSTICK);
    const peers::vec2_t here = place();
    fly(5);
    EXPECT_LT(peers::length(place() - here), 0.02);
    EXPECT_TRUE(model->external_control(MIS_OFF));
    EXPECT_FALSE(model->sticks({})) << "nobody asked for external control";
}

TEST_F(Aircraft, FliesInTheFrameThatTheSticksName)
{
    const std::pair<ctrl_level_frame_t, double> frames[] = {
        {GROUND_LEVEL, 0}, {BODY_LEVEL, 90 * DEGREE}, {REF_LEVEL, 30 * DEGREE}};
    for (const auto& [frame, direction] : frames) {
        SCOPED_TRACE(int{frame});
        hover({.heading = 30 * DEGREE});
        stick_command_t sticks = {.yaw_mode = YAW_MODE_ANG, .frame = frame, .horizontal = {1, 0}, .yaw = 90};
        // The way in the frame's own directions, from rest and at the heading of 90 degrees.
        const auto way = [&, turn = direction](double seconds) {
            fly(4, {.yaw_mode = YAW_MODE_ANG, .yaw = 90});
            EXPECT_NEAR(peers::angles_of(model->truth().attitude).z, 90 * DEGREE, 0.001);
            const peers::vec2_t before = place();
            fly(seconds, sticks);
            return peers::turned(place() - before, -turn);
        };
        const peers::vec2_t forward = way(3);
        EXPECT_GT(forward.x, 1.5);
        EXPECT_NEAR(forward.y, 0, 0.05);
        sticks.horizontal_mode = HORIZ_MODE_ATTI;
        sticks.stabilized = false;
        sticks.horizontal = {3, 0};
        const peers::vec2_t roll = way(1);
        EXPECT_GT(roll.y, 0.1) << "roll goes to the right";
        EXPECT_NEAR(roll.x, 0, 0.02);
    }
}

// The sender computes the way that is left anew for each frame.
TEST_F(Aircraft, ReachesAPositionAndFliesFasterWithFeedForward)
{
    hover();
    stick_command_t sticks = {.horizontal_mode = HORIZ_MODE_POS, .frame = GROUND_LEVEL};
    for (int i = 0; i < 750; i++) {
        sticks.horizontal = peers::vec2_t{4, 3} - place();
        fly(0.02, sticks);
    }
    EXPECT_LT(peers::length(place() - peers::vec2_t{4, 3}), 0.05);

    sticks.horizontal = {};
    sticks.forward_velocity = {8, 0};
    fly(5, sticks);
    EXPECT_NEAR(model->truth().velocity.x, 8, 0.1);
    sticks.forward_velocity = {};
    fly(10, sticks);
    EXPECT_LT(std::fabs(model->truth().velocity.x), 0.02) << "stops";

    hover();
    fly(1, {.stabilized = false, .forward_acceleration = {1, 0}});
    EXPECT_NEAR(model->truth().velocity.x, peers::speed_step_response(1) / peers::SPEED_GAIN, 0.02)
        << "as if the speed were asked for that the acceleration makes up for";
    hover();
    fly(2, {.forward_climb = 0.5});
    EXPECT_NEAR(model->truth().velocity.z, -0.5, 0.01);
}

afqt_sweep_msg_t sweep_of(uint8_t number, uint16_t start, uint16_t end)
{
    return {MOTION_SWEEP, kSweepOn, start, end, 20, 20, number};
}

TEST_F(Aircraft, SweepsFromTheFirstFrequencyToTheLast)
{
    // Turns per second of the rows' own phase, between two of them.
    const auto measured = [this](size_t a, size_t b) {
        return (rows[b].phase - rows[a].phase) / (rows[b].time - rows[a].time) / (2 * std::numbers::pi);
    };
    for (const peers::sweep_law law : {peers::sweep_law::linear, peers::sweep_law::exponential}) {
        hover({.law = law});
        EXPECT_TRUE(model->sweep(sweep_of(7, 5, 80)));  // its 7 is the test's roll loop
        fly(20.2, stick_command_t{});
        EXPECT_THAT(happened(), ElementsAre(aircraft_event::sweep_started, aircraft_event::sweep_ended));
        EXPECT_NEAR(measured(1, 9), 0.5, 0.02);
        EXPECT_NEAR(measured(3980, 3995), 8.0, 0.1);
        EXPECT_NEAR(rows[2000].frequency, law == peers::sweep_law::linear ? 4.25 : 2.0, 0.01) << "half-way";
        EXPECT_EQ(rows[4010].excitation.value, 0) << "over";
        for (const flight_row_t& row : rows)
            EXPECT_NEAR(row.excitation.value, 2 * std::sin(row.phase), 1e-9);
    }
}

TEST_F(Aircraft, SweepReachesTheLoopAskedForAndEndsWithExternalControl)
{
    hover();
    EXPECT_FALSE(model->sweep(sweep_of(14, 5, 80))) << "nobody's loop";
    EXPECT_FALSE(model->sweep(sweep_of(7 | kPrbsSig << SWEEP_FLAG_METHOD_SHIFT, 5, 80)));
    EXPECT_TRUE(model->sweep(sweep_of(7, 8, 8)));
    fly(15, stick_command_t{});
    double roll = 0;
    double pitch = 0;
    for (size_t i = rows.size() - 250; i < rows.size(); i++) {
        roll = std::fmax(roll, std::fabs(rows[i].angles.x));
        pitch = std::fmax(pitch, std::fabs(rows[i].angles.y));
    }
    // Two degrees through the three lags of the tilt loop, with the hold around them at work: 2.298.
    EXPECT_NEAR(roll / DEGREE, 2.298, 0.05);
    EXPECT_LT(pitch / DEGREE, 0.05) << "not this loop";
    EXPECT_TRUE(model->external_control(MIS_OFF));
    EXPECT_FALSE(model->sweeping());
    EXPECT_FALSE(model->sweep(sweep_of(7, 8, 8))) << "only under external control";
}

// Nobody flies like this, but a sender may be broken: numbers stay numbers, and afterwards it can still be flown.
TEST_F(Aircraft, SurvivesAbsurdSticks)
{
    hover();
    EXPECT_TRUE(model->sweep({MOTION_SWEEP, kSweepOn, 10, 10, 65535, 20, 4}));
    for (int modes = 0; modes < 48; modes++) {
        const double stick = modes % 2 == 0 ? 1e30 : -1e30;
        fly(0.5, {.horizontal_mode = static_cast<horiz_mode_t>(modes % 4),
                  .vertical_mode = static_cast<vert_mode_t>(modes / 16),
                  .yaw_mode = static_cast<yaw_mode_t>(modes / 4 % 2),
                  .stabilized = modes / 8 % 2 == 0,
                  .horizontal = {stick, stick},
                  .vertical = stick,
                  .yaw = stick,
                  .forward_acceleration = {stick, 0}});
    }
    fly(15, stick_command_t{});
    const peers::motion_t& truth = model->truth();
    EXPECT_TRUE(std::isfinite(truth.position.x + truth.position.y + truth.position.z + truth.attitude.w));
    EXPECT_LT(std::hypot(truth.velocity.x, truth.velocity.y, truth.velocity.z), 0.05);
    EXPECT_LT(std::fabs(peers::angles_of(truth.attitude).x), 0.02);
}

TEST(Sticks, OfBothFormats)
{
    // Basic: the vertical stick stands before the yaw stick.
    const api_ctrl_data_without_sensor_t basic = {0x9b, 1, 2, 4, 3};
    const auto first = peers::read_sticks(peers::bytes_of(basic)).value();
    EXPECT_EQ(std::tuple(first.horizontal_mode, first.vertical_mode, first.yaw_mode, first.frame),
              std::tuple(HORIZ_MODE_POS, VERT_MODE_POS, YAW_MODE_RATE, BODY_LEVEL));
    EXPECT_TRUE(first.stabilized);
    EXPECT_EQ(std::pair(first.vertical, first.yaw), std::pair(4.0, 3.0));

    api_ctrl_data_pro_t pro = {0x81, FFWD_ACC, {1, 2, 3, 4}, {5, 6}, {7, 8}, {9, 10}};
    const auto read = [&] { return peers::read_sticks(peers::bytes_of(pro)); };
    EXPECT_EQ(std::pair(read()->vertical, read()->yaw), std::pair(3.0, 4.0));
    EXPECT_EQ(read()->forward_velocity.x, 0) << "not enabled";
    EXPECT_EQ(read()->forward_acceleration.y, 8);
    EXPECT_EQ(read()->forward_climb_acceleration, 0);
    pro.ctrl_byte = FFWD_VEL_ACC | FFWD_VEL_ACC << CTRL_BYTE_VERT_FFWD_SHIFT;
    EXPECT_EQ(std::pair(read()->forward_velocity.y, read()->forward_climb), std::pair(6.0, 9.0));

    EXPECT_FALSE(peers::read_sticks(peers::bytes_of(pro).first(42)));
    pro.stick_cmd[0] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_FALSE(read());
    pro.stick_cmd[0] = 0;
    pro.ctrl_flag = 3 << CTRL_FLAG_HORIZ_FRAME_SHIFT;
    EXPECT_FALSE(read()) << "no such frame";
}

}  // namespace
