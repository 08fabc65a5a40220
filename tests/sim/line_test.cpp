// Lines, flown: what leaves the service against the craft tables, what the aircraft makes of it against the limits.
#include <cmath>
#include <cstring>

#include "sky.h"

using peers::test_outcome;

namespace {

constexpr double RADIANS = 0.017453292519943295;
constexpr int LINE = 0x49;  // velocity and climb, rate of yaw, in the ground's frame, stabilised
constexpr int HOLD = 0x4b;  // the same in the body's

// The greatest of each in the frames of external control since the line began.
struct asked_t {
    double speed = 0, climb = 0, sink = 0, yaw = 0;
};

}  // namespace

class Line : public Sky {
protected:
    // Hovers, then flies the line, then hovers until it has come to rest.
    void flies_line(const std::string& keys)
    {
        list(0, list_of({hover(1), motion("kLine", keys), hover(3)}));
        switches_on(0);
        ASSERT_TRUE(until([this] { return flag_sent() == LINE; }, 30)) << testing::PrintToString(states);
        begin = truth();
        const size_t first = sent.size();
        const double since = now();
        until(
            [this] {
                highest = std::max(highest, begin.z - truth().z);
                lowest = std::min(lowest, begin.z - truth().z);
                return flag_sent() == HOLD;
            },
            60);
        seconds = now() - since;
        for (size_t i = first; i < sent.size(); ++i)
            look_at(sent[i]);
        passes(2.9);
        end = truth();
    }

    peers::vec3_t truth() const { return controller->aircraft()->truth().position; }

    // Control flag of the last frame.
    int flag_sent() const
    {
        const auto frame = std::find_if(sent.rbegin(), sent.rend(),
                                        [](const sent_t& message) { return message.id == CMD_ID_CTRL_DATA; });
        return frame == sent.rend() ? -1 : frame->payload.at(0);
    }

    void look_at(const sent_t& message)
    {
        api_ctrl_data_without_sensor_t frame;
        if (message.id != CMD_ID_CTRL_DATA || message.payload.size() != sizeof frame) return;
        std::memcpy(&frame, message.payload.data(), sizeof frame);
        asked.speed = std::max<double>(asked.speed, std::hypot(frame.roll_or_x, frame.pitch_or_y));
        asked.climb = std::max<double>(asked.climb, frame.thr_z);
        asked.sink = std::min<double>(asked.sink, frame.thr_z);
        asked.yaw = std::max<double>(asked.yaw, std::fabs(frame.yaw));
    }

    peers::vec3_t begin, end;
    double highest = 0, lowest = 0, seconds = 0;
    asked_t asked;
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
    aircraft_stands_ready(5, 1, table.drone_type);
    service_starts();
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
    EXPECT_EQ(end_of_flight().outcome, test_outcome::finished) << testing::PrintToString(states);
}

TEST_F(Line, EndsAtItsDistance)
{
    aircraft_stands_ready();
    service_starts();
    flies_line(R"("flight_dis": 20, "stick_tilt": [{"time": 60, "stick_value": 60}])");
    const double speed = 4.6;  // of the QX520 at 9 degrees, within 1 m/s
    EXPECT_NEAR(seconds, 20 / speed, 1.5);
    EXPECT_GE(end.x - begin.x, 20);
    EXPECT_LT(end.x - begin.x, 20 + speed * speed / 2);
    EXPECT_EQ(end_of_flight().outcome, test_outcome::finished);
}

// Every way to climb and to sink, at full stick and in sport mode, for longer than the room lasts.
TEST_F(Line, StaysBetweenItsHeights)
{
    aircraft_stands_ready(5, 1, PRODUCT_RV880);
    service_starts();
    for (const int mode : {0, 1, 2}) {
        SCOPED_TRACE(mode);
        highest = lowest = 0;
        const std::string item = ", \"vert_mode\": " + std::to_string(mode) + "}";
        flies_line(R"("flight_mode": 1, "height_min": -0.5, "height_max": 6, "vert_pos": 50, "stick_vert": [
            {"time": 9, "stick_value": 100)" +
                   item + R"(, {"time": 9, "stick_value": -100)" + item + "]");
        EXPECT_LT(highest, 6.05) << "noise";
        EXPECT_GT(highest, 5.5);
        EXPECT_GT(lowest, -0.55);
        EXPECT_LT(lowest, -0.2);
        EXPECT_EQ(end_of_flight().outcome, test_outcome::finished);
        passes(3);
    }
}

// Heights and headings that the vertical and the yaw stick ask for are reached.
TEST_F(Line, ReachesHeightAndHeading)
{
    aircraft_stands_ready();
    service_starts();
    flies_line(R"("height_max": 9, "vert_pos": 4, "yaw_angle": -120,
        "stick_vert": [{"time": 12, "stick_value": 50, "vert_mode": 1}], "stick_yaw": [{"time": 12, "stick_value": 75}])");
    EXPECT_NEAR(begin.z - end.z, 2, 0.1);
    EXPECT_NEAR(angles_of(controller->aircraft()->truth().attitude).z / RADIANS, -90, 1);
}
