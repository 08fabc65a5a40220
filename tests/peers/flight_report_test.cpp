// What reports say of flights, against what the simulated aircraft is known to do.
#include <cmath>
#include <fstream>
#include <functional>
#include <numbers>

#include "flight_controller/flight_log.h"
#include "flight_controller/loop_response.h"
#include "flight_report/flight_story.h"
#include "flight_report/step_motions.h"
#include "flight_report/sweep_measures.h"
#include "peer_fixture.h"

namespace {

using namespace peers;
using cli::exit_code;
using testing::HasSubstr;

constexpr double DEGREES = 180 / std::numbers::pi;

using response_fn = frequency_response_t (*)(double hz);

constexpr response_fn tilt_rate = [](double hz) { return rate_frequency_response(TILT_GAINS, hz); };
constexpr response_fn yaw_rate = [](double hz) { return rate_frequency_response(YAW_GAINS, hz); };
constexpr response_fn climb = [](double hz) { return rate_frequency_response(HEIGHT_GAINS, hz); };
constexpr response_fn tilt = [](double hz) { return angle_frequency_response(TILT_GAINS, hz); };
constexpr response_fn yaw = [](double hz) { return angle_frequency_response(YAW_GAINS, hz); };
constexpr response_fn height = [](double hz) { return angle_frequency_response(HEIGHT_GAINS, hz); };
constexpr response_fn yaw_by_rate = [](double hz) { return yaw(hz) / YAW_GAINS.outer; };

// A sweep, the response that it should show, and how many points of it the report has to stand by: in the order in
// which a table of sweeps reads.
struct sweep_t {
    uint8_t loop, point;
    double start, end, amplitude;
    uint8_t seconds;
    response_fn truth = nullptr;
    size_t sure = 0;
};

class Reports : public testing::Test {
protected:
    // On the ground; what happens from here on stands in the record.
    void stand(const aircraft_config_t& config = {})
    {
        log = FlightLog::create(path, config);
        model = std::make_unique<AircraftModel>(config);
        model->set_observer([this](const flight_row_t& row) { log->write(row); });
    }

    // In external control, holding.
    void take_off(const aircraft_config_t& config = {})
    {
        stand(config);
        model->basic_command(API_CMD_AUTO_TAKEOFF, false);
        fly(6);
        model->external_control(MIS_ON);
        fly(4, stick_command_t{});
    }

    void fly(double seconds, const std::optional<stick_command_t>& sticks = std::nullopt)
    {
        for (int step = 0; step < std::lround(seconds / STEP_S); step++) {
            if (sticks && step % 20 == 0) model->sticks(*sticks);
            model->step();
        }
    }

    void land()
    {
        model->basic_command(API_CMD_AUTO_LANDING, false);
        fly(8);
    }

    FlightRows rows()
    {
        EXPECT_TRUE(log->close());
        record_error_t error;
        record = FlightRecord::read(path, error);
        EXPECT_TRUE(record) << error.reason;
        std::string why;
        const auto found = FlightRows::of(*record, why);
        EXPECT_TRUE(found) << why;
        return *found;
    }

    // The flight controller counts the test's loops from 4 on, and leaves out 14.
    sweep_measure_t swept(const sweep_t& one, uint64_t seed = 3)
    {
        take_off({.noise = true, .seed = seed});
        const auto tenths = [](double value) { return static_cast<uint16_t>(std::lround(value * 10)); };
        const int number = one.loop + (one.loop <= 10 ? 3 : 4) + (one.point << SWEEP_FLAG_POINT_SHIFT);
        model->sweep({MOTION_SWEEP, kSweepOn, tenths(one.start), tenths(one.end), tenths(one.amplitude), one.seconds,
                      static_cast<uint8_t>(number)});
        fly(one.seconds + 6.0, stick_command_t{});
        const std::vector<sweep_measure_t> sweeps = measure_sweeps(rows());
        EXPECT_EQ(sweeps.size(), 1u);
        return sweeps.empty() ? sweep_measure_t{} : sweeps[0];
    }

    Bus bus;
    const std::string path = bus.path("flight.ulg");
    std::unique_ptr<FlightLog> log;
    std::unique_ptr<AircraftModel> model;
    std::optional<FlightRecord> record;
};

void expect_near(const response_point_t& point, response_fn truth)
{
    const frequency_response_t ratio = point.response / truth(point.hz);
    EXPECT_NEAR(20 * std::log10(std::abs(ratio)), 0, 0.5) << point.hz << " Hz";
    EXPECT_NEAR(std::arg(ratio) * DEGREES, 0, 3) << point.hz << " Hz";
}

// Half a decibel and three degrees at every coherent frequency, of which there must be most.
TEST_F(Reports, SweepsHaveTheResponseOfTheFormulas)
{
    const sweep_t sweeps[] = {
        {kAngVelX, 0, 1, 10, 20, 30, tilt_rate},
        {kAngVelZ, 0, 0.5, 8, 15, 30, yaw_rate},
        {kAttiX, 0, 0.5, 5, 5, 30, tilt},
        {kAttiY, 0, 0.5, 5, 5, 30, tilt},
        {kAttiZ, 0, 0.2, 3, 10, 30, yaw},
        {kVelX, 0, 0.2, 2, 1, 30, speed_frequency_response},
        {kVelY, 0, 0.2, 2, 1, 30, speed_frequency_response},
        {kPosX, 0, 0.1, 0.6, 2, 60, position_frequency_response},
        {kPosY, 0, 0.1, 0.6, 2, 60, position_frequency_response},
        {kVertVel, 0, 0.2, 2, 1, 30, climb},
        {kVertPos, 0, 0.1, 1.5, 0.5, 60, height},
        {kVertAcc, 0, 1, 5, 2, 30, climb_acceleration_frequency_response},
        {kAttiStbX, 0, 0.5, 5, 5, 30, tilt},
        {kAttiZ, 1, 0.2, 3, 10, 30, yaw_by_rate},
    };
    for (const sweep_t& one : sweeps) {
        SCOPED_TRACE(testing::Message() << "loop " << int{one.loop} << ", point " << int{one.point});
        const sweep_measure_t sweep = swept(one);
        size_t coherent = 0;
        for (const response_point_t& point : sweep.response) {
            if (point.coherence < 0.9) continue;
            coherent++;
            expect_near(point, one.truth);
        }
        EXPECT_GT(coherent, 30u) << "of " << sweep.response.size();
        EXPECT_GT(coherent, sweep.response.size() * 3 / 4);
        EXPECT_EQ(sweep.why_not, "");
        const bool closed = one.point == 0 && one.loop != kVertAcc;
        EXPECT_EQ(sweep.margins.remark.find("no loop") != std::string::npos, one.loop == kVertAcc);
        EXPECT_TRUE(closed || !sweep.margins.phase_margin_deg) << "only where a loop is closed";
    }
}

// Flown small, the answer drowns in the sensors' noise at the upper end, also where the coherence is high: the report
// knows which points to stand by, and how far off the others may be.
TEST_F(Reports, SweepsInNoiseSayHowSureTheyAre)
{
    const sweep_t sweeps[] = {
        {kAttiX, 0, 0.5, 5, 2, 20, tilt, 50},
        {kVelX, 0, 0.2, 2, 0.5, 30, speed_frequency_response, 20},
        {kPosX, 0, 0.1, 1, 1, 60, position_frequency_response, 0},
        {kVertPos, 0, 0.1, 2, 0.5, 60, height, 20},
        {kVertAcc, 0, 1, 8, 1, 30, climb_acceleration_frequency_response, 50},
    };
    for (const sweep_t& one : sweeps) {
        for (uint64_t seed = 4; seed <= 6; ++seed) {
            SCOPED_TRACE(testing::Message() << "loop " << int{one.loop} << ", seed " << seed);
            const sweep_measure_t sweep = swept(one, seed);
            size_t sure = 0;
            for (const response_point_t& point : sweep.response) {
                const double off = std::abs(point.response / one.truth(point.hz) - 1.0);
                EXPECT_LT(off, 5 * point.deviation + 0.03) << point.hz << " Hz";
                if (!point.sure()) continue;
                sure++;
                expect_near(point, one.truth);
            }
            EXPECT_GE(sure, one.sure);
            EXPECT_GT(sweep.response.size() - sure, 5u) << "a sweep without noise to speak of shows nothing";
        }
    }
}

TEST_F(Reports, MarginsAreThoseOfTheFormulas)
{
    std::vector<response_point_t> exact;
    for (int i = 0; i < 250; i++) {
        const double hz = 0.5 * std::pow(1.01, i);
        exact.push_back({hz, tilt(hz), std::arg(tilt(hz)) * DEGREES, 1});
    }
    // Open, the tilt loop is k K / (T s³ + s² + K s): -180° where s² = -K / T.
    const double crossing = std::sqrt(TILT_GAINS.inner / MOTOR_LAG_S) / (2 * std::numbers::pi);
    const double gain_db = 20 * std::log10(1 / MOTOR_LAG_S / TILT_GAINS.outer);
    for (const loop_margins_t& margins : {margins_of(exact), swept({kAttiX, 0, 0.5, 6, 5, 40}).margins}) {
        EXPECT_NEAR(margins.bandwidth_hz.value_or(0), 0.5098 * TILT_GAINS.slow / (2 * std::numbers::pi), 0.03);
        EXPECT_NEAR(margins.phase_crossover_hz.value_or(0), crossing, 0.05 * crossing);
        EXPECT_NEAR(margins.gain_margin_db.value_or(0), gain_db, 0.8);
        EXPECT_NEAR(margins.phase_margin_deg.value_or(0), 71.5, 1.5);
    }
    for (response_point_t& point : exact)
        point.coherence = 0.5;
    EXPECT_THAT(margins_of(exact).remark, HasSubstr("coherence"));
    EXPECT_FALSE(margins_of(exact).bandwidth_hz);
}

TEST_F(Reports, StepsHaveTheTimesOfTheFormulas)
{
    const auto of = [](const cascade_gains_t& gains) {
        return [gains](double time) { return angle_step_response(gains, time); };
    };
    const auto level = [](horiz_mode_t mode, vec2_t horizontal = {}) {
        return stick_command_t{.horizontal_mode = mode, .stabilized = false, .horizontal = horizontal};
    };
    const auto turn = [](double to) { return stick_command_t{.yaw_mode = YAW_MODE_ANG, .yaw = to}; };
    const auto rise = [](double to) { return stick_command_t{.vertical_mode = VERT_MODE_POS, .vertical = to}; };
    const struct {
        uint8_t loop;
        double size;
        stick_command_t before, during;
        std::function<double(double)> truth;
    } cases[] = {
        {kAttiX, 8, level(HORIZ_MODE_ATTI), level(HORIZ_MODE_ATTI, {8, 0}), of(TILT_GAINS)},
        {kAttiY, -8, level(HORIZ_MODE_ATTI), level(HORIZ_MODE_ATTI, {0, -8}), of(TILT_GAINS)},
        {kVelX, 2, level(HORIZ_MODE_VEL), level(HORIZ_MODE_VEL, {2, 0}), speed_step_response},
        {kAttiZ, 20, turn(0), turn(20), of(YAW_GAINS)},
        {kVertPos, 1, rise(1.2), rise(2.2), of(HEIGHT_GAINS)},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(int{one.loop});
        take_off();
        fly(0.9, one.before);
        log->hear({kStaMotionListRun, 0, MOTION_STEP, 1, one.loop});  // almost a second late
        fly(1.1, one.before);
        fly(4, one.during);
        log->hear({kStaRtl, 0, NONE, 0, kLoopNull});
        const FlightRows flown = rows();
        const auto motions = measure_step_motions(flown, tell_flight(*record, flown, nullptr, {}).motions);
        ASSERT_EQ(motions.size(), 1u);
        ASSERT_EQ(motions[0].steps.size(), 1u) << motions[0].why_not;
        const step_measure_t& step = motions[0].steps[0];
        EXPECT_NEAR(step.size, one.size, 0.01 * std::fabs(one.size));
        // When the formula gets there.
        const auto time_at = [&](double part) {
            double time = 0;
            while (one.truth(time) < part)
                time += 1e-4;
            return time;
        };
        const double rise_s = time_at(0.9) - time_at(0.1);
        EXPECT_NEAR(step.rise_s.value_or(0), rise_s, 0.02 * rise_s);
        EXPECT_NEAR(step.settle_s.value_or(0), time_at(0.95), 0.02 * time_at(0.95));
        EXPECT_NEAR(step.overshoot, 0, 0.01);
        EXPECT_NEAR(step.steady_error / one.size, 0, 0.01);
    }
}

TEST_F(Reports, TellHowTheFlightEnded)
{
    const auto told = [this](const char* service, std::optional<size_t> motions = {}) {
        const FlightRows flown = rows();
        const service_log_t service_log = service_log_t::parse(service);
        return tell_flight(*record, flown, &service_log, motions);
    };
    take_off();
    log->hear({kStaMotionListRun, 0, MOTION_STEP, 2, kAttiStbX});
    fly(1, stick_command_t{});
    land();
    flight_story_t story =
        told("[ 1.0][event_in_air]event_in_air, 2, 6\n[ 1.0][run][sta_mach_run_motion][1][1]event trig \n", 3);
    EXPECT_EQ(story.verdict, flight_verdict::flown) << story.what;
    EXPECT_THAT(story.reasons, testing::ElementsAre("last motion: 2 of 3, step, attitude x, stabilised"));
    EXPECT_EQ(story.motions[0].loop, kAttiStbX);
    EXPECT_NEAR(story.landed_m.value_or(9), 0, 0.05);
    ASSERT_EQ(story.states.size(), 1u);
    EXPECT_EQ(story.states[0].text, "asks for external control");
    EXPECT_NEAR(story.states[0].begin, 1.5, 0.3) << "on the record's clock";
    story = told("[ 9.0][run][sta_mach_run_motion][4][0]event trig \n[ 9.0][x][afqt]motion init fail: 1 \r\n");
    EXPECT_EQ(story.verdict, flight_verdict::failed);
    EXPECT_THAT(story.reasons[0], HasSubstr("flies the list: a motion of the list was refused"));
    EXPECT_EQ(story.reasons[1], "a motion could not begin");
    EXPECT_EQ(told("[ 9.0][run][afqt_main][1][0]event trig \n").verdict, flight_verdict::stopped);

    take_off();
    EXPECT_EQ(told("").verdict, flight_verdict::unfinished);
    take_off();
    model->external_control(MIS_OFF);
    fly(1);
    land();
    EXPECT_EQ(told("").verdict, flight_verdict::stopped);
    stand();
    fly(1);
    EXPECT_EQ(told("").verdict, flight_verdict::not_flown);
}

TEST_F(Reports, HostileRecordsAreRefusedOrSurvived)
{
    swept({kAttiX, 0, 0.5, 5, 5, 10});
    const std::string whole = text_of(path);
    const std::string page = bus.path("page.html");
    const auto report = [&](const std::string& file) {
        std::ofstream(path, std::ios::binary) << file;
        return vela("afqt report " + path + " -o " + page);
    };
    EXPECT_EQ(report("").code, exit_code::bad_input);
    EXPECT_EQ(report(whole.substr(0, 16)).code, exit_code::bad_input) << "no topic";
    for (const size_t size : {whole.size() / 50, whole.size() / 3, whole.size() / 2, whole.size() - 1}) {
        const tool_run_t run = report(whole.substr(0, size));
        EXPECT_EQ(run.code, exit_code::ok) << run.text;
        EXPECT_THAT(run.text, HasSubstr("the record was cut"));
    }
    // All numbers of some rows become none, or huge: in rows behind the definitions, each with its head of 13 bytes.
    for (const char filling : {'\xff', '\x7e'}) {
        std::string damaged = whole;
        const std::string attitude("\x16\0D\x02\0", 5);
        for (size_t at = damaged.find(attitude); at != std::string::npos; at = damaged.find(attitude, at + 1000))
            damaged.replace(at + 13, 12, std::string(12, filling));
        EXPECT_NE(damaged, whole);
        EXPECT_EQ(report(damaged).code, exit_code::ok);
    }
    std::string backwards = whole;
    backwards.replace(backwards.find(std::string("\x0c\0D", 3)) + 5, 8, std::string(8, '\x7f'));
    EXPECT_EQ(report(backwards).code, exit_code::bad_input) << "another time than its other topics";
    const size_t data = whole.find(std::string("\x0c\0D", 3));
    EXPECT_THAT(report(whole + whole.substr(data)).text, HasSubstr("its times do not rise"));
    EXPECT_EQ(vela("afqt report /no/such.ulg").code, exit_code::bad_input);
}

}  // namespace
