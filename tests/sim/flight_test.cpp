// Factory flights that take too long, or happen too rarely, for the real clock.
#include <sys/mount.h>
#include <sys/stat.h>

#include <cmath>

#include "sky.h"

using peers::test_outcome;
using testing::AnyOf;
using testing::HasSubstr;

static constexpr const char* LOGS = "/tmp/blackbox/log/afqt";

TEST_F(Sky, ReturnsToItsStartFromAfarFromNearAndFromBesideIt)
{
    aircraft_stands_ready();
    service_starts();
    // A step of the speed carries it off; the rest is braking.
    const struct {
        double speed, seconds, least, most;
    } WAYS[] = {{6, 4, 22, 29}, {2, 2.4, 3.5, 6.5}, {0.3, 0.65, 0.1, 0.3}};
    for (const auto& way : WAYS) {
        SCOPED_TRACE(way.speed);
        const std::string out =
            motion("kStep", R"("repeat_times": 1, "reset_flag": false, "loop_id": 7, "amp": )" +
                                std::to_string(way.speed) + ", \"intervals\": " + std::to_string(way.seconds));
        list(0, list_of({hover(1), out, hover(3), motion("kRtl", R"("land_flag": true)")}));
        double farthest = 0;
        switches_on(0);
        until(
            [&] {
                const peers::vec3_t at = controller->aircraft()->truth().position;
                farthest = std::max(farthest, std::hypot(at.x, at.y));
                return end_of_flight(0).outcome != test_outcome::running;
            },
            300);
        EXPECT_EQ(end_of_flight().outcome, test_outcome::finished) << testing::PrintToString(states);
        EXPECT_GT(farthest, way.least);
        EXPECT_LT(farthest, way.most);
        const peers::vec3_t at = controller->aircraft()->truth().position;
        EXPECT_LT(std::hypot(at.x, at.y), 0.5);
        EXPECT_TRUE(until([this] { return controller->bags().state().fsm == 0; }, 10));
    }
}

TEST_F(Sky, SwitchedOffInEveryStateItLeavesExternalControlOnceAndTheNextOneFlies)
{
    aircraft_stands_ready();
    service_starts();
    list(0, list_of({hover(3)}));
    for (const uint8_t state : {kStaTakeoff, kStaReqApi, kStaMotionListRun, kStaRtl, kStaLanding}) {
        SCOPED_TRACE(int{state});
        // Without an answer of the flight controller the request for external control stays where it is.
        if (state == kStaReqApi) loses(SET_FLIGHT_CONTROLLER, CMD_ID_MISSION_ONOFF);
        const size_t left = mode_requests(MIS_OFF);
        switches_on(0);
        ASSERT_TRUE(reaches(state)) << testing::PrintToString(states);
        loses_nothing();
        EXPECT_EQ(station->switch_off(0), 0);
        EXPECT_TRUE(reaches(kStaMotionIdel));
        passes(1);
        EXPECT_EQ(mode_requests(MIS_OFF), left + 1);
        const size_t sticks = count_sent(SET_FLIGHT_CONTROLLER, CMD_ID_CTRL_DATA);
        passes(3);
        EXPECT_EQ(count_sent(SET_FLIGHT_CONTROLLER, CMD_ID_CTRL_DATA), sticks);
        is_landed_by_hand();
        passes(3);
    }
    EXPECT_EQ(flies(0).outcome, test_outcome::finished);
}

// Five hundred ticks each, then state 9 and nothing but the heartbeat until somebody switches it off.
TEST_F(Sky, FlightControllerThatDoesNotFollow)
{
    aircraft_stands_ready();
    service_starts();
    list(0, list_of({hover(2)}));
    const struct {
        const char* what;
        uint8_t id;
        bool flies;
    } DEAF[] = {{"take-off", CMD_ID_BASIC_CMD, false}, {"external control", CMD_ID_MISSION_ONOFF, true}};
    for (const auto& deaf : DEAF) {
        SCOPED_TRACE(deaf.what);
        loses(SET_FLIGHT_CONTROLLER, deaf.id);
        switches_on(0);
        ASSERT_TRUE(reaches(kStaErrSta)) << testing::PrintToString(states);
        EXPECT_EQ(end_of_flight().outcome, test_outcome::failed);
        const size_t before = sent.size();
        passes(5);
        for (size_t i = before; i < sent.size(); ++i)
            EXPECT_THAT(sent[i].id,
                        AnyOf(CMD_ID_AFQT_MSG, ID_TFR_PUSH, ID_DB_BAG_ADD, ID_DB_BAG_RESET, ID_FLYLIMIT_VERSION));
        EXPECT_EQ(in_air(), deaf.flies);
        loses_nothing();
        EXPECT_EQ(station->switch_off(0), 0);
        EXPECT_TRUE(reaches(kStaMotionIdel));
        is_landed_by_hand();
        passes(3);
        EXPECT_EQ(flies(0).outcome, test_outcome::finished);
        passes(3);
    }
}

// It obeys, and still does not leave the ground.
TEST_F(Sky, AircraftTooHeavyToFly)
{
    aircraft_stands_ready(5, 3);
    service_starts();
    list(0, list_of({hover(2)}));
    EXPECT_EQ(flies(0).outcome, test_outcome::failed) << testing::PrintToString(states);
    EXPECT_FALSE(in_air());
    EXPECT_EQ(mode_requests(MIS_ON), 0u);
}

// A way back needs a start.
TEST_F(Sky, ReturnWithoutAFixIsRefused)
{
    aircraft_stands_ready(1);
    service_starts();
    list(0, list_of({hover(1), motion("kRtl", "\"land_flag\": true")}));
    EXPECT_EQ(flies(0).outcome, test_outcome::failed) << testing::PrintToString(states);
    EXPECT_EQ(station->switch_off(0), 0);
    EXPECT_TRUE(reaches(kStaMotionIdel));
    is_landed_by_hand();
    controller->set_gps_level(5);
    passes(3);
    EXPECT_EQ(flies(0).outcome, test_outcome::finished);
}

// What cannot be flown is told by the state; the next good list flies.
TEST_F(Sky, ListsThatCannotBeFlown)
{
    aircraft_stands_ready();
    service_starts();
    list(1, list_of({hover(1)}));
    const std::string good = list_of({hover(1), step(kAttiX, 5)});
    std::vector<std::string> refused = {
        "",
        "{",
        "[]",
        "null",
        R"({"attribute": {"motion_num": 1}})",
        R"({"attribute": {"motion_num": 0}})",
        list_of({motion("kRepeat", R"("start_num": 1, "end_num": 1, "repeat_times": 2)")}),
        list_of({motion("kLine", R"("flight_dis": 5)")}),
        list_of({motion("kHover", "\"duration\": 0")}),
        list_of({motion("kNothing", "")}),
        std::string(100'000, '['),
        good.substr(0, good.size() / 2)};
    for (const std::string& content : refused) {
        SCOPED_TRACE(content.substr(0, 80));
        list(0, content);
        EXPECT_EQ(flies(0).outcome, test_outcome::failed) << testing::PrintToString(states);
        EXPECT_EQ(station->switch_off(0), 0);
        EXPECT_TRUE(reaches(kStaMotionIdel));
        is_landed_by_hand();
        passes(3);
    }
    EXPECT_EQ(flies(1).outcome, test_outcome::finished);
}

TEST_F(Sky, LongestListIsFlownToItsLastEntry)
{
    aircraft_stands_ready();
    service_starts();
    list(0, list_of(std::vector<std::string>(255, step(kAttiX, 3))));
    uint8_t last = 0;
    switches_on(0);
    until(
        [&] {
            last = std::max(last, controller->aircraft()->heartbeat().value_or(afqt_heart_beat_t{}).motion_num);
            return end_of_flight(0).outcome != test_outcome::running;
        },
        1500);
    EXPECT_EQ(end_of_flight().outcome, test_outcome::finished);
    EXPECT_EQ(last, 255);
}

// What the first list says of itself stays where the second says nothing.
TEST_F(Sky, TwoListsInARowKeepTheAttributes)
{
    aircraft_stands_ready();
    service_starts();
    list(0, list_of({hover(1)}, R"("department": "line 4", "archive_id": "first", )"));
    list(1, list_of({hover(1)}, R"("archive_id": "second", )"));
    EXPECT_EQ(flies(0).outcome, test_outcome::finished);
    passes(3);
    EXPECT_EQ(flies(1).outcome, test_outcome::finished);
    const std::string tag = text_of(std::string(LOGS) + "/afqttag_007.json");
    EXPECT_THAT(tag, HasSubstr("\"department\":\t\"line 4\""));
    EXPECT_THAT(tag, HasSubstr("\"archive_id\":\t\"second\""));
}

TEST_F(Sky, FixLostOnTheWayAndTheAircraftLandsByItself)
{
    aircraft_stands_ready();
    service_starts();
    list(0, list_of({hover(5)}));
    switches_on(0);
    ASSERT_TRUE(reaches(kStaMotionListRun));
    controller->set_gps_level(1);
    EXPECT_EQ(end_of_flight().outcome, test_outcome::finished) << "flown by its own sensors";
    passes(3);
    controller->set_gps_level(5);

    // Taken out of the service's hands it goes on sending, and ends when the motors are off.
    list(0, list_of({hover(30)}));
    switches_on(0);
    ASSERT_TRUE(reaches(kStaMotionListRun));
    is_landed_by_hand();
    EXPECT_THAT(end_of_flight().outcome, AnyOf(test_outcome::finished, test_outcome::failed));
    station->switch_off(0);
    EXPECT_TRUE(reaches(kStaMotionIdel));
    passes(3);
    list(0, list_of({hover(1)}));
    EXPECT_EQ(flies(0).outcome, test_outcome::finished);
}

// The flight is not disturbed: lines are lost.
TEST_F(Sky, LogDirectoryMissingOrFull)
{
    aircraft_stands_ready();
    list(0, list_of({hover(1), step(kAttiX, 5)}));
    ASSERT_EQ(mount("tmpfs", "/tmp/blackbox/log", "tmpfs", 0, "size=4k"), 0);
    service_starts();
    EXPECT_EQ(flies(0).outcome, test_outcome::finished) << "no directory";
    service_dies();
    mkdir(LOGS, 0777);
    write_text(std::string(LOGS) + "/full", std::string(8000, 'x'));
    service_starts();
    EXPECT_EQ(flies(0).outcome, test_outcome::finished) << "full";
}

// A hundred switches a second, then the last one counts.
TEST_F(Sky, StormOfSwitches)
{
    aircraft_stands_ready();
    service_starts();
    list(0, list_of({hover(2)}));
    sim::Random random(11);
    for (int i = 0; i < 1500; ++i) {
        const uint8_t values[] = {static_cast<uint8_t>(random.below(4)), 0, 0};
        station->endpoint().send(HOST_FLIGHT_SERVICE, SET_AFQT, CMD_ID_AFQT_CMD, {values, random.below(4)});
        passes(0.01);
    }
    station->switch_off(0);
    EXPECT_TRUE(until([this] { return !states.empty() && states.back() == kStaMotionIdel; }, 30));
    const size_t sticks = count_sent(SET_FLIGHT_CONTROLLER, CMD_ID_CTRL_DATA);
    passes(5);
    EXPECT_EQ(count_sent(SET_FLIGHT_CONTROLLER, CMD_ID_CTRL_DATA), sticks);
    is_landed_by_hand();
    passes(5);
    station->switch_off(0);  // an off that waited in idle is taken by the next run
    passes(1);
    EXPECT_EQ(flies(0).outcome, test_outcome::finished);
}

// The service dies in flight: the next one is idle, and sends neither sticks nor modes.
TEST_F(Sky, KilledInFlight)
{
    aircraft_stands_ready();
    service_starts();
    list(0, list_of({hover(20)}));
    switches_on(0);
    ASSERT_TRUE(reaches(kStaMotionListRun));
    service_dies();
    sent.clear();
    service_starts();
    passes(10);
    EXPECT_EQ(count_sent(SET_FLIGHT_CONTROLLER, CMD_ID_CTRL_DATA), 0u);
    EXPECT_EQ(count_sent(SET_FLIGHT_CONTROLLER, CMD_ID_MISSION_ONOFF), 0u);
    EXPECT_EQ(count_sent(SET_FLIGHT_CONTROLLER, CMD_ID_BASIC_CMD), 0u);
    is_landed_by_hand();
    passes(3);
    EXPECT_EQ(flies(0).outcome, test_outcome::finished);
}
