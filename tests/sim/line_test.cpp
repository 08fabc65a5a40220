// Lines, flown: what leaves the service against the craft tables, what the aircraft makes of it against the limits.
#include <gmock/gmock.h>

#include <cmath>

#include "stage/flight_stand.h"
#include "stage/virtual_world.h"

using peers::test_outcome;

namespace {

constexpr double RADIANS = 0.017453292519943295;
constexpr int LINE = 0x49;  // velocity and climb, rate of yaw, in the ground's frame, stabilised
constexpr int HOLD = 0x4b;  // the same in the body's

class Line : public testing::Test {
protected:
    void stands_ready(int8_t drone_type = PRODUCT_QX520)
    {
        flight.emplace(world, aircraft_t{.drone_type = drone_type});
        flight->launch();
    }

    // Hovers, then flies the line, then hovers until it has come to rest.
    void flies_line(const std::string& keys)
    {
        FlightStand::write_list(list_of({hover(1), motion("kLine", keys), hover(3)}));
        flight->switches(kAfqtOn);
        ASSERT_TRUE(is_flown(LINE, 30)) << testing::PrintToString(flight->states());
        begin = truth();
        highest = lowest = 0;
        world.forget();
        const uint64_t since = world.now_us();
        EXPECT_TRUE(is_flown(HOLD, 60));
        seconds = static_cast<double>(world.now_us() - since) / 1e6;
        for (const seen_t& seen : frames())
            look_at(seen);
        world.pass(2'900'000);
        end = truth();
    }
    test_outcome end_of_flight() { return flight->end_of_flight(); }

    peers::vec3_t truth() { return world.controller().aircraft()->truth().position; }
    std::vector<seen_t> frames() const
    {
        return world.sent(HOST_FLIGHT_SERVICE, SET_FLIGHT_CONTROLLER, CMD_ID_CTRL_DATA);
    }

    // Until the last frame has this control flag.
    bool is_flown(int flag, uint64_t limit_s)
    {
        size_t looked = 0;
        int last = -1;
        const auto is_so = [&] {
            highest = std::max(highest, begin.z - truth().z);
            lowest = std::min(lowest, begin.z - truth().z);
            for (; looked < world.sent().size(); looked++) {
                const seen_t& seen = world.sent()[looked];
                if (seen.head.from == HOST_FLIGHT_SERVICE && seen.id == CMD_ID_CTRL_DATA) last = seen.payload.at(0);
            }
            return last == flag;
        };
        return world.until(is_so, limit_s * SECOND_US);
    }

    void look_at(const seen_t& seen)
    {
        api_ctrl_data_without_sensor_t frame;
        if (!peers::read_record(seen.payload, frame) || seen.payload.size() != sizeof frame) return;
        asked.speed = std::max<double>(asked.speed, std::hypot(frame.roll_or_x, frame.pitch_or_y));
        asked.climb = std::max<double>(asked.climb, frame.thr_z);
        asked.sink = std::min<double>(asked.sink, frame.thr_z);
        asked.yaw = std::max<double>(asked.yaw, std::fabs(frame.yaw));
    }

    VirtualWorld world;
    std::optional<FlightStand> flight;
    peers::vec3_t begin, end;
    double highest = 0, lowest = 0, seconds = 0;
    // The greatest of each in the line's frames.
    struct {
        double speed = 0, climb = 0, sink = 0, yaw = 0;
    } asked;
};

struct table_t {
    const char* name;
    int8_t drone_type;
    int mode;
    double speed, climb, sink, yaw;
};

void PrintTo(const table_t& table, std::ostream* out)
{
    *out << table.name;
}

class LineOfCraft : public Line, public testing::WithParamInterface<table_t> {};

// 40 percent of the tilt stick, the others at full; what the tables make of it, by hand.
INSTANTIATE_TEST_SUITE_P(Craft, LineOfCraft,
                         testing::Values(table_t{"rv880", PRODUCT_RV880, 0, 6.216, 3.34, -2.505, 62.625},
                                         table_t{"rv880_sport", PRODUCT_RV880, 1, 10.76, 5, -3, 200},
                                         table_t{"qx520", PRODUCT_QX520, 0, 2.74, 1.5, -1.125, 75},
                                         table_t{"qx520_sport", PRODUCT_QX520, 1, 6.58, 4, -3, 150}),
                         [](const auto& table) { return table.param.name; });

TEST_P(LineOfCraft, SticksMeanWhatItsTableSays)
{
    const table_t& table = GetParam();
    stands_ready(table.drone_type);
    flies_line("\"flight_mode\": " + std::to_string(table.mode) + R"(, "flight_yaw": -90, "height_min": -90,
        "height_max": 90, "stick_tilt": [{"time": 4, "stick_value": 40}, {"time": 4, "stick_value": 0}],
        "stick_vert": [{"time": 3, "stick_value": 100}, {"time": 2, "stick_value": -100}],
        "stick_yaw": [{"time": 3, "stick_value": 100, "yaw_mode": 1}])");
    EXPECT_NEAR(asked.speed, table.speed, 0.01);
    EXPECT_NEAR(asked.climb, table.climb, 0.001);
    EXPECT_NEAR(asked.sink, table.sink, 0.001);
    EXPECT_NEAR(asked.yaw, table.yaw, 0.01);
    EXPECT_NEAR(seconds, 8, 0.03) << "as long as the longest stick";
    // To the west as it began, whatever the nose did; it starts and brakes with the pull of its tilt.
    EXPECT_NEAR(end.y - begin.y, -4 * table.speed, 0.05 * 4 * table.speed);
    EXPECT_NEAR(end.x - begin.x, 0, 0.06 * 4 * table.speed) << "it turns fast meanwhile";
    EXPECT_EQ(end_of_flight(), test_outcome::finished) << testing::PrintToString(flight->states());
}

TEST_F(Line, EndsAtItsDistance)
{
    stands_ready();
    flies_line(R"("flight_dis": 20, "stick_tilt": [{"time": 60, "stick_value": 60}])");
    const double speed = 4.6;  // of the QX520 at 9 degrees, within 1 m/s
    EXPECT_NEAR(seconds, 20 / speed, 1.5);
    EXPECT_GE(end.x - begin.x, 20);
    EXPECT_LT(end.x - begin.x, 20 + speed * speed / 2);
    EXPECT_EQ(end_of_flight(), test_outcome::finished);
}

// Every way to climb and to sink, at full stick and in sport mode, for longer than the room lasts.
TEST_F(Line, StaysBetweenItsHeights)
{
    stands_ready(PRODUCT_RV880);
    for (const int mode : {0, 1, 2}) {
        SCOPED_TRACE(mode);
        const std::string item = ", \"vert_mode\": " + std::to_string(mode) + "}";
        flies_line(R"("flight_mode": 1, "height_min": -0.5, "height_max": 6, "vert_pos": 50, "stick_vert": [
            {"time": 9, "stick_value": 100)" +
                   item + R"(, {"time": 9, "stick_value": -100)" + item + "]");
        EXPECT_LT(highest, 6.05) << "noise";
        EXPECT_GT(highest, 5.5);
        EXPECT_GT(lowest, -0.55);
        EXPECT_LT(lowest, -0.2);
        EXPECT_EQ(end_of_flight(), test_outcome::finished);
        world.pass(3 * SECOND_US);
    }
}

// Heights and headings that the vertical and the yaw stick ask for are reached.
TEST_F(Line, ReachesHeightAndHeading)
{
    stands_ready();
    flies_line(R"("height_max": 9, "vert_pos": 4, "yaw_angle": -120,
        "stick_vert": [{"time": 12, "stick_value": 50, "vert_mode": 1}], "stick_yaw": [{"time": 12, "stick_value": 75}])");
    EXPECT_NEAR(begin.z - end.z, 2, 0.1);
    EXPECT_NEAR(angles_of(world.controller().aircraft()->truth().attitude).z / RADIANS, -90, 1);
}

}  // namespace
