// Factory flights that take too long, or happen too rarely, for the real clock.
#include <cmath>

#include "sky.h"

using peers::test_outcome;

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
        const auto from_start = [this] {
            const peers::vec3_t at = controller->aircraft()->truth().position;
            return std::hypot(at.x, at.y);
        };
        double farthest = 0;
        const auto looks = [&] { farthest = std::max(farthest, from_start()); };
        EXPECT_EQ(flies(0, looks).outcome, test_outcome::finished) << testing::PrintToString(states);
        EXPECT_GT(farthest, way.least);
        EXPECT_LT(farthest, way.most);
        EXPECT_LT(from_start(), 0.5);
        EXPECT_TRUE(until([this] { return controller->bags().state().fsm == 0; }, 10));
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

TEST_F(Sky, LongestListIsFlownToItsLastEntry)
{
    aircraft_stands_ready();
    service_starts();
    list(0, list_of(std::vector<std::string>(255, step(kAttiX, 3))));
    uint8_t last = 0;
    const auto looks = [&] {
        last = std::max(last, controller->aircraft()->heartbeat().value_or(afqt_heart_beat_t{}).motion_num);
    };
    EXPECT_EQ(flies(0, looks).outcome, test_outcome::finished);
    EXPECT_EQ(last, 255);
}
