// Factory flights that take too long, or happen too rarely, for the real clock.
#include <gmock/gmock.h>

#include <cmath>

#include "stage/flight_stand.h"
#include "stage/virtual_world.h"

using peers::test_outcome;
using testing::HasSubstr;

namespace {

class Flight : public testing::Test {
protected:
    peers::vec3_t truth() { return world.controller().aircraft()->truth().position; }

    VirtualWorld world;
};

TEST_F(Flight, ReturnsToItsStartFromAfarFromNearAndFromBesideIt)
{
    FlightStand flight(world);
    flight.launch();
    // A step of the speed carries it off; the rest is braking.
    const struct {
        double speed, seconds, least, most;
    } WAYS[] = {{6, 4, 22, 29}, {2, 2.4, 3.5, 6.5}, {0.3, 0.65, 0.1, 0.3}};
    for (const auto& way : WAYS) {
        SCOPED_TRACE(way.speed);
        const std::string out =
            motion("kStep", R"("repeat_times": 1, "reset_flag": false, "loop_id": 7, "amp": )" +
                                std::to_string(way.speed) + ", \"intervals\": " + std::to_string(way.seconds));
        FlightStand::write_list(list_of({hover(1), out, hover(3), motion("kRtl", R"("land_flag": true)")}));
        double farthest = 0;
        flight.switches(kAfqtOn);
        const auto has_ended = [&] {
            farthest = std::max(farthest, std::hypot(truth().x, truth().y));
            return flight.outcome() != test_outcome::running;
        };
        world.until(has_ended, FlightStand::FLIGHT_LIMIT_US);
        EXPECT_EQ(flight.outcome(), test_outcome::finished) << testing::PrintToString(flight.states());
        EXPECT_GT(farthest, way.least);
        EXPECT_LT(farthest, way.most);
        EXPECT_LT(std::hypot(truth().x, truth().y), 0.5);
        EXPECT_TRUE(world.until([this] { return world.controller().bags().state().fsm == 0; }, 10 * SECOND_US));
    }
}

TEST_F(Flight, SwitchedOffInEveryStateItLeavesExternalControlOnceAndTheNextOneFlies)
{
    FlightStand flight(world);
    flight.launch();
    FlightStand::write_list(list_of({hover(3)}));
    for (const uint8_t state : {kStaTakeoff, kStaReqApi, kStaMotionListRun, kStaRtl, kStaLanding}) {
        SCOPED_TRACE(int{state});
        // Without an answer of the flight controller the request for external control stays where it is.
        if (state == kStaReqApi) world.loses = [](const seen_t& seen) { return seen.id == CMD_ID_MISSION_ONOFF; };
        flight.switches(kAfqtOn);
        ASSERT_TRUE(flight.reaches(state)) << testing::PrintToString(flight.states());
        world.loses = {};
        world.forget();
        flight.is_switched_off();
        EXPECT_EQ(flight.mode_requests(MIS_OFF), 1u);
        flight.expect_no_commands(3 * SECOND_US, "after it was switched off");
        flight.is_landed_by_hand();
    }
    EXPECT_EQ(flight.flies(), test_outcome::finished);
}

// It obeys, and still does not leave the ground.
TEST_F(Flight, AircraftTooHeavyToFly)
{
    FlightStand flight(world, {.mass = 3});
    flight.launch();
    world.forget();
    EXPECT_EQ(flight.flies(), test_outcome::failed) << testing::PrintToString(flight.states());
    EXPECT_FALSE(flight.in_air());
    EXPECT_EQ(flight.mode_requests(MIS_ON), 0u);
}

TEST_F(Flight, LongestListIsFlownToItsLastEntry)
{
    FlightStand flight(world);
    flight.launch();
    FlightStand::write_list(list_of(std::vector<std::string>(255, step(kAttiX, 3))));
    uint8_t last = 0;
    flight.switches(kAfqtOn);
    const auto has_ended = [&] {
        const auto beat = world.controller().aircraft()->heartbeat();
        last = std::max(last, beat.value_or(afqt_heart_beat_t{}).motion_num);
        return flight.outcome() != test_outcome::running;
    };
    world.until(has_ended, 1500 * SECOND_US);
    EXPECT_EQ(flight.outcome(), test_outcome::finished);
    EXPECT_EQ(last, 255);
}

// What the first list says of itself stays where the second says nothing.
TEST_F(Flight, TwoListsInARowKeepTheAttributes)
{
    FlightStand flight(world);
    flight.launch();
    FlightStand::write_list(list_of({hover(1)}, R"("department": "line 4", "archive_id": "first", )"), 0);
    FlightStand::write_list(list_of({hover(1)}, R"("archive_id": "second", )"), 1);
    EXPECT_EQ(flight.flies(0), test_outcome::finished);
    world.pass(3 * SECOND_US);
    EXPECT_EQ(flight.flies(1), test_outcome::finished);
    const std::string tag = text_of("/tmp/blackbox/log/afqt/afqttag_007.json");
    EXPECT_THAT(tag, HasSubstr("\"department\":\t\"line 4\""));
    EXPECT_THAT(tag, HasSubstr("\"archive_id\":\t\"second\""));
}

}  // namespace
