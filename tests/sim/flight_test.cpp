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
