// The subscription to the flight controller's data: what is asked for, what is taken, and what happens in silence.
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "aircraft.h"
#include "dbi/db_sub.h"
#include "dbi/dbi.h"
#include "flight_db/flight_db.h"
#include "flight_timer/flight_timer.h"

static record_t to_fc(uint8_t id, uint16_t seq, const bytes_t& payload)
{
    return {FLIGHT, 0x0306, 0x03, id, 0x0100, seq, payload};
}

static const bytes_t ADD_BAG = bytes_t{0, 50, 0, 0, 8} + u32(0x57000000) + u32(0x55000000) + u32(0x57500000) +
                               u32(0x56510000) + u32(0x20cfb02a) + u32(0x1a67d6a1) + u32(0x1d08cda5) + u32(0xa493281f);

// A push of bag 0: index, then the values at their offsets.
class Bag : public bytes_t {
public:
    Bag() : bytes_t(164) {}

    template <typename T>
    Bag& with(size_t offset, T value)
    {
        std::memcpy(data() + 1 + offset, &value, sizeof value);
        return *this;
    }
};

class FlightData : public Aircraft {
protected:
    FlightData()
    {
        setenv("TZ", "UTC", 1);
        service_starts();
    }

    flight_global_db_t& db = *flight_get_db();
};

TEST_F(FlightData, StartSubscribesOnceAndWatches)
{
    EXPECT_THAT(sent(), ElementsAre(to_fc(0x15, 0, {0}), to_fc(0x14, 1, ADD_BAG)));
    EXPECT_EQ(text_of(*clock.timers.at(0)), "DBI_TIMER: 5000000 us, repeat 0, priority 19");
    EXPECT_EQ(clock.timers[0]->attrib.entry, dbi_monitor);
    EXPECT_EQ(clock.timers[0]->attrib.param, nullptr);
    clock.creation_result = -11;
    EXPECT_EQ(dbi_init(), 0) << "without a timer the subscription still counts";
    EXPECT_THAT(sent(), ElementsAre(to_fc(0x15, 2, {0}), to_fc(0x14, 3, ADD_BAG)));

    const std::vector<uint32_t> uids(62, 0x01010101);
    EXPECT_EQ(fc_v1_db_bag_add(7, 0x1234, 62, uids.data()), 0);
    EXPECT_NE(fc_v1_db_bag_add(7, 0x1234, 63, uids.data()), 0) << "the size is an 8-bit number";
    EXPECT_EQ(fc_v1_db_bag_delete(9), 0);
    EXPECT_EQ(fc_v1_db_bag_update_freq(9, 0xabcd), 0);
    EXPECT_THAT(sent(), ElementsAre(to_fc(0x14, 4, bytes_t{7, 0x34, 0x12, 0, 62} + bytes_t(248, 1)),
                                    to_fc(0x16, 5, {9}), to_fc(0x17, 6, {9, 0xcd, 0xab})));
}

TEST_F(FlightData, PushFillsTheRecord)
{
    Bag bag;
    bag.with(0, 0.25).with(8, -1.5).with(16, 120.5f).with(20, uint8_t{4}).with(21, 20190101u).with(25, 123456u);
    bag.with(57, 0.75).with(65, -0.125).with(73, 0xfedcba98u).with(77, uint8_t{0xfd}).with(82, uint8_t{41});
    clock.jumps(1234ms);
    EXPECT_EQ(db_get_last_update_time_ms(), 0u);
    fc.pushes(bag);
    EXPECT_EQ(db_get_last_update_time_ms(), 1234u);
    EXPECT_EQ(std::pair(+db.drone_gps[0], +db.drone_gps[1]), std::pair(0.25, -1.5));
    EXPECT_EQ(db.altitude, 120.5f);
    EXPECT_EQ(db.gps_ctrl_level, 4);
    EXPECT_EQ(db.gps_unix_timestamp, 1546346096u);
    EXPECT_EQ(std::pair(+db.app_gps[0], +db.app_gps[1]), std::pair(0.75, -0.125));
    EXPECT_EQ(db.app_unix_timestamp, 0xfedcba98u);
    EXPECT_EQ(db.app_gps_valid, 1) << "bit 0 alone";
    EXPECT_EQ(db.display_mode, 41);
    const auto* image = reinterpret_cast<const uint8_t*>(get_db_bag1());
    EXPECT_EQ(bytes_t(image, image + 163), bytes_t(bag.begin() + 1, bag.end()));
    fc.pushes(bag.with(77, uint8_t{0xfe}).with(0, std::nan("")));
    EXPECT_EQ(db.app_gps_valid, 0);
    EXPECT_TRUE(std::isnan(db.drone_gps[0])) << "values pass unjudged";
    const _drone_state states[] = {DRONE_MOTOR_OFF, DRONE_ON_GND, DRONE_IN_AIR, DRONE_MOTOR_OFF};
    for (uint8_t fsm = 0; fsm < 4; ++fsm) {
        fc.pushes(bag.with(81, fsm));
        EXPECT_EQ(db.drone_fsm, states[fsm]);
    }
    EXPECT_EQ(fc_fsm2drone_fsm(255), DRONE_MOTOR_OFF);
}

TEST_F(FlightData, AttitudeIsRollPitchYawInDegrees)
{
    for (size_t axis = 0; axis < 3; ++axis) {  // 40 degrees about one of them
        const float half = 0.34906585f;
        fc.pushes(Bag().with(147, std::cos(half)).with(151 + 4 * axis, std::sin(half)));
        for (size_t i = 0; i < 3; ++i)
            EXPECT_NEAR(db.atti_gnd[i], i == axis ? 40 : 0, 0.001) << axis << i;
    }
}

// Half a bag must never be flown by: the last values stay, and the silence goes on.
TEST_F(FlightData, PushOfAnyOtherShapeIsDroppedWhole)
{
    const auto expect_taken = [&](const bytes_t& push, bool taken) {
        fc.pushes(Bag().with(16, 1.f));
        const uint32_t before = db_get_last_update_time_ms();
        clock.jumps(10ms);
        fc.pushes(push);
        EXPECT_EQ(db_get_last_update_time_ms(), before + (taken ? 10 : 0));
        EXPECT_EQ(db.altitude, taken ? 2.f : 1.f);
        EXPECT_EQ(get_db_bag1()->db_sys_navi_data.vert_abs_pos, db.altitude);
    };
    bytes_t push = Bag().with(16, 2.f);
    for (const size_t length : {0u, 1u, 163u, 164u, 1008u}) {
        SCOPED_TRACE(length);
        expect_taken(part(push + zeros(1008), 0, length), length >= 164);
    }
    push[0] = 1;
    expect_taken(push, false);
}

TEST_F(FlightData, DatesAreTakenThroughTheCalendarAsTheyCome)
{
    const struct {
        uint32_t date, time, seconds;
    } cases[] = {
        {20240229, 235959, 1709251199},
        {20380119, 31408, 0x80000000},
        {21060207, 62816, 0},                  // 2^32 s, narrowed
        {0, 0, 2254525440},                    // the last of November of the year -1
        {20231332, 256199, 1706839359},        // month 13, day 32, 25:61:99 are carried over
        {4294967295, 4294967295, 2666114879},  // year 429496, month 72, day 95
    };
    for (const auto& [date, time, seconds] : cases)
        EXPECT_EQ(gps_date_to_linux_timestamp(date, time), seconds) << date << " " << time;
    setenv("TZ", "CET-1CEST", 1);
    EXPECT_EQ(gps_date_to_linux_timestamp(20190101, 0), 1546300800u - 3600) << "local time";
    EXPECT_EQ(gps_date_to_linux_timestamp(20190701, 0), 1561939200u - 3600) << "never summer time";
}

TEST_F(FlightData, SilenceOfMoreThanTenSecondsSubscribesAnew)
{
    clock.passes(10s);
    EXPECT_THAT(log.texts("dbi_monitor"), IsEmpty()) << "10000 ms exactly";
    clock.passes(15s);
    EXPECT_THAT(log.texts("dbi_monitor"),
                ElementsAre("restart db sub err_cnt:1 15000 0", "restart db sub err_cnt:2 20000 0",
                            "restart db sub err_cnt:3 25000 0"));
    clock.jumps(7ms);
    fc.pushes(Bag());
    clock.jumps(10'000ms);
    sent();
    clock.ticks("DBI_TIMER");
    EXPECT_THAT(sent(), IsEmpty());
    clock.jumps(1ms);
    bus.results.send = -111;  // a refused send stops nothing
    clock.ticks("DBI_TIMER");
    EXPECT_THAT(sent(), ElementsAre(to_fc(0x15, 8, {0}), to_fc(0x14, 9, ADD_BAG)));
    EXPECT_THAT(log.texts("dbi_monitor"), ElementsAre("restart db sub err_cnt:4 35008 25007"));
}

TEST_F(FlightData, NextPushIsPrintedOnceWhenAsked)
{
    testing::internal::CaptureStdout();
    fc.pushes(Bag());
    print_db_once(0, nullptr);
    fc.pushes({1});
    fc.pushes(Bag().with(0, 0.5).with(8, -1.25).with(16, 30.f).with(20, uint8_t{5}));
    fc.pushes(Bag());
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "===============printf_recv_db bag 1===================\r\n"
              "drone:(0.500000,-1.250000,30.000000)\r\n"
              "Ctrl:5\r\n");
}
