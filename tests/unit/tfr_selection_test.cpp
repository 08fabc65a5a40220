// Which areas are kept, and how they reach the flight controller second by second.
#include <sys/inotify.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <random>

#include "heap_count.h"
#include "nfz_tfr/nfz_tfr.h"
#include "nfz_tfr/tfr_module/src/tfr_module_get_pos.h"
#include "nfz_tfr/tfr_module/src/tfr_module_select.h"
#include "tfr_aircraft.h"

using testing::Each;

class TfrSelection : public TfrAircraft {
protected:
    static vela_tfr_item_t item(uint32_t id, int32_t lat, int32_t lng, uint16_t radius)
    {
        vela_tfr_item_t item = {};
        item.area_id = id;
        item.center = {lng, lat};
        item.radius = radius;
        return item;
    }
    void takes(const areas_t& areas) { write_file(TFR, tfr_file(areas)); }
};

TEST_F(TfrSelection, SortExchangesAsWritten)
{
    flies_at(0, 0);
    reset_tfr_info();
    for (const uint32_t id : {1u, 2u})
        add_tfr_item(item(id, 500, 0, 0));
    EXPECT_EQ(tfr_info.tfr_items[0].area_id, 1u) << "equals are never exchanged";
    add_tfr_item(item(3, 300, 0, 0));
    EXPECT_EQ(get_tfr_info_by_index(0).area_id, 3u);
    EXPECT_EQ(get_tfr_info_by_index(1).area_id, 2u) << "but the nearer one carries the first to its place";
    EXPECT_EQ(get_tfr_info_by_index(2).area_id, 1u);
    tfr_info_t before = tfr_info;
    logged();
    for (const auto& [i, j] : std::initializer_list<std::pair<uint8_t, uint8_t>>{{0, 5}, {5, 0}, {255, 255}}) {
        swap_tfr_info_item(&tfr_info, i, j);
        EXPECT_EQ(logged(), texts_t{"swap_tfr_info_item: error: swap index wrong"});
    }
    EXPECT_EQ(std::memcmp(&tfr_info, &before, sizeof before), 0);
    tfr_info.in_reading = true;
    EXPECT_EQ(get_tfr_info_num(), 0);
    EXPECT_EQ(get_tfr_info_by_index(0).area_id, 0u);
    EXPECT_EQ(logged(), texts_t{"get_tfr_info_by_index: TFR is in reading, return null"});
    reset_tfr_info();
    EXPECT_FALSE(tfr_info.in_reading);
    EXPECT_THAT(tfr_info.dis2drone, Each(40076000.f));
    for (const uint8_t wrong : bytes_t{6, 255}) {
        tfr_info.num = wrong;
        add_tfr_item(item(1, 0, 0, 0));
        EXPECT_EQ(logged(), texts_t{"add_tfr_item: wrong tfr num " + std::to_string(wrong)});
        EXPECT_THAT(tfr_info.dis2drone, Each(40076000.f));
    }
}

TEST_F(TfrSelection, RandomAreasAreKeptAsTheModelKeepsThem)
{
    std::mt19937 random(4'300'001);  // NOLINT: the same cases every time
    const auto between = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random);
    };
    const uint16_t radii[] = {0, 0, 100, 65535};
    for (int number = 0; number < 100'000; ++number) {
        const double lat = number % 4 == 0 ? 0 : between(-90, 90), lng = number % 4 == 0 ? 0 : between(-180, 180);
        flies_at(lat, lng);
        reset_tfr_info();
        model_t model;
        const auto areas = static_cast<uint32_t>(random() % 15);
        for (uint32_t id = 0; id < areas; ++id) {
            // Mostly a coarse grid around the aircraft, for ties; now and then anything that 32 bits can say.
            const bool wild = random() % 8 == 0;
            const auto offset = [&] { return (static_cast<int32_t>(random() % 5) - 2) * 100'000; };
            const int32_t center_lat = wild ? static_cast<int32_t>(random()) : int32_t(lat * 1e6) + offset();
            const int32_t center_lng = wild ? static_cast<int32_t>(random()) : int32_t(lng * 1e6) + offset();
            const uint16_t radius = radii[random() % 4];
            add_tfr_item(item(id, center_lat, center_lng, radius));
            model.add(model_distance(db.drone_gps[0], db.drone_gps[1], center_lat, center_lng, radius));
        }
        ASSERT_EQ(get_tfr_info_num(), model.num) << number;
        for (uint8_t slot = 0; slot < 5; ++slot) {
            const float distance = tfr_info.dis2drone[slot];
            ASSERT_EQ(distance, model.distance[slot]) << "case " << number << " slot " << int{slot};
            if (model.which[slot] < 0) continue;
            ASSERT_EQ(get_tfr_info_by_index(slot).area_id, uint32_t(model.which[slot])) << "case " << number;
        }
        ASSERT_TRUE(std::is_sorted(std::begin(tfr_info.dis2drone), std::end(tfr_info.dis2drone))) << number;
    }
}

TEST_F(TfrSelection, FiveNearestGoRoundNearestFirst)
{
    flies_at(0, 0);
    takes({{1, 700, 0}, {2, -300, 0}, {3, 0, 500}, {4, 100, 0}, {5, 900, 0}, {6, 0, -200}, {7, 0, 0, 50}});
    EXPECT_EQ(ticks(6), (texts_t{"0/5:7", "1/5:4", "2/5:6", "3/5:2", "4/5:3", "0/5:7"}));
    flies_at(0.001, 0);
    EXPECT_EQ(tick(), "1/5:1") << "the order follows the aircraft";
    flies_at(0, 0);
    takes({{1, 100, 0}, {2, 200, 0}, {3, 300, 0}, {4, 400, 0}, {5, 500, 0}, {6, -500, 0}, {7, 0, 500}});
    EXPECT_EQ(ticks(5), (texts_t{"2/5:3", "3/5:4", "4/5:5", "0/5:1", "1/5:2"})) << "the equal fifth stays";
    flies_at(std::nan(""), 0);
    takes({{9, 900, 0}, {8, 0, 0}, {7, 5, 5}, {6, 1, 1}, {5, 2, 2}, {4, 0, 0}});
    EXPECT_EQ(ticks(5), (texts_t{"2/5:7", "3/5:6", "4/5:5", "0/5:9", "1/5:8"})) << "nowhere: the first of the file";
    flies_at(0, 0);
    takes({{1, 1, 0}, {2, 2, 0}, {3, 3, 0}});
    EXPECT_EQ(ticks(4), (texts_t{"2/3:3", "0/3:1", "1/3:2", "2/3:3"}));
    EXPECT_EQ(ticks(2), (texts_t{"0/3:1", "1/3:2"}));
    takes({{4, 1, 0}, {5, 2, 0}});
    EXPECT_EQ(ticks(3), (texts_t{"0/2:4", "1/2:5", "0/2:4"})) << "2 of 3 was next";
}

TEST_F(TfrSelection, PositionIsTheAircraftsThenThePhones)
{
    const auto position = [&](uint8_t level, uint8_t app_valid) {
        db.gps_ctrl_level = level;
        db.app_gps_valid = app_valid;
        const tfr_ref_pos_t pos = tfr_get_pos_info();
        EXPECT_EQ(pos.pos_valid, pos.pos_type != NO_VALID_POS);
        return std::tuple(pos.pos_type, double{pos.lat}, double{pos.lng});
    };
    db.drone_gps[0] = 0.5;
    db.drone_gps[1] = -3.0;
    db.app_gps[0] = 0.25;
    db.app_gps[1] = 2.0;
    const auto drone = std::tuple(DRONE_POS, 0.5, -3.0), app_pos = std::tuple(APP_POS, 0.25, 2.0);
    const auto none = std::tuple(NO_VALID_POS, 0.0, 0.0);
    for (const uint8_t level : bytes_t{3, 4, 255})
        for (const uint8_t app_valid : bytes_t{0, 1})
            EXPECT_EQ(position(level, app_valid), drone) << int{level};
    for (const uint8_t level : bytes_t{0, 1, 2}) {
        EXPECT_EQ(position(level, 1), app_pos) << int{level};
        EXPECT_EQ(position(level, 0), none) << int{level};
        EXPECT_EQ(position(level, 2), none) << int{level};
    }
}

TEST_F(TfrSelection, PushGoesOnWhateverKeepsTheFileFromBeingRead)
{
    EXPECT_EQ(text_of(*clock.timers.back()), "nfz_tfr_timer: 1000000 us, repeat 0, priority 19");
    EXPECT_EQ(push_after_tick(), zeros(125));
    EXPECT_EQ(push_after_tick(), zeros(125));
    takes({{1, 0, 0}, {2, 1, 0}});
    EXPECT_EQ(push_after_tick(), zeros(125)) << "no position: the file is not looked at";
    EXPECT_FALSE(exists("/tmp/EMMC/missing"));
    EXPECT_THAT(logged(), IsEmpty());
    db.app_gps_valid = 1;
    EXPECT_EQ(tick(), "0/2:1");
    db.app_gps_valid = 0;
    write_file(TFR, {1, 2, 3});
    EXPECT_EQ(ticks(3), (texts_t{"1/2:2", "0/2:1", "1/2:2"})) << "position lost";
    EXPECT_EQ(file_bytes(TFR).size(), 3u);

    db.app_gps_valid = 1;
    const std::string busy = "tfr_data_update: can not read, tfr is updating, update state is:";
    const bytes_t file = tfr_file({{3, 0, 0}});
    sends(0, uint32_t(file.size()), part(file, 0, 20));
    logged();
    EXPECT_EQ(ticks(2), (texts_t{"0/2:1", "1/2:2"})) << "transfer under way";
    EXPECT_EQ(logged(), (texts_t{busy + "1", busy + "1"}));
    sends(1, uint32_t(file.size()), part(file, 20, file.size()));
    logged();
    EXPECT_EQ(tick(), "0/2:1");
    EXPECT_EQ(logged(), texts_t{busy + "2"});
    EXPECT_EQ(finishes().at(0), 0);
    EXPECT_EQ(tick(), "0/1:3");
    sends(5, 9999, 10);
    EXPECT_EQ(finishes().at(0), 6);
    EXPECT_EQ(tick(), "0/1:3") << "a failed transfer leaves no file, but the areas";
    bus.results.send = -111;
    EXPECT_EQ(ticks(2), (texts_t{"0/1:3", "0/1:3"})) << "a refused push stops nothing";

    clock.creation_result = -11;
    testing::internal::CaptureStdout();
    tfr_init();
    EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::StartsWith("fail to create nfz_upgrade_timer"));
}

TEST_F(TfrSelection, IsLoggedAtEvery11thReading)
{
    flies_at(0, 0);
    db.drone_gps[0] = 0.5;
    db.drone_gps[1] = -0.25;
    const double degree = 180 / std::numbers::pi;
    const area_t polygon = {0xfffffffe, int32_t(0.5 * degree * 1e6), int32_t(-0.25 * degree * 1e6), 1000, 4};
    const area_t circle = {7, polygon.lat + MILLIDEGREE, polygon.lng, 0};
    const std::string tag = "log_all_tfr_info: ";
    char slots[2][160];
    const auto text = [&](int slot, const area_t& area, int id, int start) {
        const float distance = model_distance(0.5, -0.25, area.lat, area.lng, area.radius);
        std::snprintf(slots[slot], 160, "[%d]area_id:%d, distance:%f, center(%d, %d), time(%d-->%d), polygon_points:%d",
                      slot, id, double{distance}, area.lat, area.lng, start, -2, area.corners);
        return tag + std::string(slots[slot]).substr(0, 126);
    };
    const int32_t start = std::numeric_limits<int32_t>::min();  // times above 2^31 are printed as they wrap
    texts_t wanted = {tag + "tfr reference pos, pos_type:2, lat:0.500000, lng:-0.250000", tag + "tfr_info num:2",
                      text(0, polygon, -2, std::numeric_limits<int32_t>::max() - 1), text(1, circle, 7, start + 7)};
    for (const char* slot : {"2", "3", "4"})
        wanted.push_back(tag + "[" + slot +
                         "]area_id:0, distance:40076000.000000, center(0, 0), time(0-->0), polygon_points:0");
    takes({circle, polygon});
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < 10; ++i)
            tick();
        db.gps_ctrl_level = 0;
        tick();  // no reading, so it does not count
        db.gps_ctrl_level = 3;
        EXPECT_THAT(logged(), IsEmpty()) << round;
        tick();
        EXPECT_EQ(logged(), wanted) << round;
    }
}

TEST_F(TfrSelection, TickOpensTheFileOnceAndUsesNoHeap)
{
    flies_at(0, 0);
    areas_t many;
    for (int32_t id = 0; id < 800; ++id)  // the record of the nearest lies across a border of the reader's buffer
        many.push_back({uint32_t(id), (id - 490) * 2 + (id > 490), 0, 0, uint8_t(id % 11)});
    const auto rounds = [&](const char* what) {
        bus.remembers = false;
        for (int round = 0; round < 12; ++round) {  // the first makes buffers of the C library ready
            const uint64_t before = heap_calls();
            clock.ticks("nfz_tfr_timer");
            EXPECT_TRUE(round == 0 || heap_calls() == before) << what;
        }
        bus.remembers = true;
    };
    takes(many);
    const int watch = inotify_init1(IN_NONBLOCK);
    ASSERT_GE(inotify_add_watch(watch, TFR, IN_OPEN | IN_CLOSE), 0);
    EXPECT_EQ(push_after_tick(), push_of(uid_of(0xa0), 5, 0, many[490].item()));
    inotify_event events[16] = {};
    const ssize_t length = read(watch, events, sizeof events);
    close(watch);
    EXPECT_EQ(length, ssize_t{2 * sizeof(inotify_event)});
    EXPECT_EQ(events[0].mask, uint32_t{IN_OPEN});
    EXPECT_EQ(events[1].mask, uint32_t{IN_CLOSE_NOWRITE});
    for (const size_t next : {489, 491, 488, 492})
        EXPECT_EQ(part(push_after_tick(), 18, 125), many[next].item()) << next;
    if (!heap_is_counted()) return;  // the sanitizers bring their own heap
    rounds("good file");
    write_file(TFR, announcing(65535, tfr_file({{1, 0, 0}})));
    rounds("announces more than it holds");
    write_file(TFR, {1, 2, 3});
    rounds("damaged, then empty");
    std::remove(TFR);
    rounds("missing");
}
