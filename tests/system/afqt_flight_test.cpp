// A factory flight: a station switches, the service flies a list on the simulated aircraft.
#include <gmock/gmock.h>

#include <algorithm>

#include "stage/flight_stand.h"
#include "stage/real_world.h"

using peers::test_outcome;
using testing::Contains;
using testing::HasSubstr;

static size_t count(const std::string& text, const std::string& wanted)
{
    size_t found = 0;
    for (size_t at = text.find(wanted); at != std::string::npos; at = text.find(wanted, at + wanted.size()))
        ++found;
    return found;
}

// Take-off, hover, steps on every loop that a step excites, a sweep, the way home, the landing; and the same again.
TEST(FactoryFlight, WholeListIsFlownTwice)
{
    RealWorld world;
    FlightStand flight(world);
    flight.launch();
    FlightStand::write_list(
        list_of({hover(2), step(kAttiX, 5), step(kAttiY, 5), step(kAttiZ, 20), step(kVelX, 1), step(kVelY, 1),
                 step(kVertPos, 1), step(kAttiStbX, 5),
                 motion("kSweepChirpZ", R"("start_freq": 1, "end_freq": 5, "duration": 2, "amp": 1, "inj_loop": 4)"),
                 motion("kRtl", R"("pos_flag": false, "alt_flag": false, "yaw_flag": false)")},
                R"("department": "line 4", )"),
        3);
    for (size_t number = 1; number <= 2; ++number) {
        SCOPED_TRACE(number);
        EXPECT_EQ(flight.flies(3), test_outcome::finished) << world.service().log();
        EXPECT_EQ(world.controller().bags().state().fsm, 0) << "landed, motors off";
        EXPECT_EQ(flight.mode_requests(MIS_OFF), number);
        const std::vector<uint8_t> seen = flight.states();
        for (const uint8_t state : {kStaTakeoff, kStaMotionListRun, kStaRtl, kStaLanding})
            EXPECT_THAT(seen, Contains(state));
        // A heartbeat on the one tick between landed and idle says error: known, and no error.
        const auto landing = std::find(seen.begin(), seen.end(), kStaLanding);
        EXPECT_EQ(std::count(seen.begin(), landing, kStaErrSta), 0) << world.service().log();
    }
    // The notice goes out at each of the 500 ticks that the service waits before it asks for the landing.
    EXPECT_EQ(count(world.service().output(), "[afqt]sen_msg success\r\n"), 1000u);
    const std::string tag = text_of("/tmp/blackbox/log/afqt/afqttag_007.json");
    EXPECT_THAT(tag, HasSubstr("\"department\":\t\"line 4\""));
    EXPECT_THAT(tag, HasSubstr("\"drone_sn\":\t\"SIM0000000000001\""));
    EXPECT_THAT(tag, HasSubstr("\"drone_type\":\t53"));
}
