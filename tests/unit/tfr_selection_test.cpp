// Which areas are kept, and how they reach the flight controller second by second.
#include <sys/inotify.h>
#include <unistd.h>

#include <cmath>

#include "nfz_tfr/nfz_tfr.h"
#include "nfz_tfr/tfr_module/src/tfr_module_get_pos.h"
#include "nfz_tfr/tfr_module/src/tfr_module_select.h"
#include "tfr_aircraft.h"

using testing::Each;

class TfrSelection : public TfrAircraft {
protected:
    void takes(const areas_t& areas) { write_file(TFR, tfr_file(areas)); }
};

TEST_F(TfrSelection, SaysWhatItRefuses)
{
    reset_tfr_info();
    swap_tfr_info_item(&tfr_info, 0, 5);
    swap_tfr_info_item(&tfr_info, 5, 0);
    EXPECT_EQ(logged(), texts_t(2, "swap_tfr_info_item: error: swap index wrong"));
    tfr_info.num = 6;
    add_tfr_item({});
    EXPECT_EQ(logged(), texts_t{"add_tfr_item: wrong tfr num 6"});
    EXPECT_THAT(tfr_info.dis2drone, Each(40076000.f));
    tfr_info.in_reading = true;
    EXPECT_EQ(get_tfr_info_num(), 0);
    get_tfr_info_by_index(0);
    EXPECT_EQ(logged(), texts_t{"get_tfr_info_by_index: TFR is in reading, return null"});
    reset_tfr_info();
    EXPECT_FALSE(tfr_info.in_reading);
}

TEST_F(TfrSelection, FiveNearestGoRoundNearestFirst)
{
    takes({{9, 900, 0}, {8, 0, 0}, {7, 5, 5}, {6, 1, 1}, {5, 2, 2}, {4, 0, 0}});
    flies_at(0, 0);
    EXPECT_EQ(ticks(2), (texts_t{"0/5:8", "1/5:4"}));
    flies_at(std::nan(""), 0);
    EXPECT_EQ(ticks(5), (texts_t{"2/5:7", "3/5:6", "4/5:5", "0/5:9", "1/5:8"})) << "nowhere: the first of the file";
}

TEST_F(TfrSelection, PositionIsTheAircraftsThenThePhones)
{
    db.drone_gps[0] = 0.5;
    db.drone_gps[1] = -3.0;
    db.app_gps[0] = 0.25;
    db.app_gps[1] = 2.0;
    const struct {
        uint8_t level, app_valid;
        pos_type_t type;
        double lat, lng;
    } cases[] = {
        {3, 0, DRONE_POS, 0.5, -3}, {255, 1, DRONE_POS, 0.5, -3}, {2, 1, APP_POS, 0.25, 2}, {2, 2, NO_VALID_POS, 0, 0}};
    for (const auto& [level, app_valid, type, lat, lng] : cases) {
        db.gps_ctrl_level = level;
        db.app_gps_valid = app_valid;
        const tfr_ref_pos_t pos = tfr_get_pos_info();
        EXPECT_EQ(pos.pos_valid, type != NO_VALID_POS);
        EXPECT_EQ(std::tuple(pos.pos_type, double{pos.lat}, double{pos.lng}), std::tuple(type, lat, lng)) << +level;
    }
}

TEST_F(TfrSelection, PushGoesOnWhateverKeepsTheFileFromBeingRead)
{
    EXPECT_EQ(text_of(*clock.timers.back()), "nfz_tfr_timer: 1000000 us, repeat 0, priority 19");
    EXPECT_EQ(push_after_tick(), zeros(125));
    takes({{1, 0, 0}, {2, 1, 0}});
    EXPECT_EQ(push_after_tick(), zeros(125)) << "no position: the file is not looked at";
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
    EXPECT_EQ(logged(), texts_t(2, busy + "1"));
    sends(1, uint32_t(file.size()), part(file, 20, file.size()));
    logged();
    EXPECT_EQ(tick(), "0/2:1");
    EXPECT_EQ(logged(), texts_t{busy + "2"});
    finishes();
    EXPECT_EQ(tick(), "0/1:3");
    sends(5, 9999, 10);
    EXPECT_EQ(finishes().at(0), 6);
    bus.results.send = -111;
    EXPECT_EQ(ticks(2), (texts_t{"0/1:3", "0/1:3"})) << "a failed transfer leaves no file, but the areas";

    clock.creation_result = -11;
    testing::internal::CaptureStdout();
    tfr_init();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "fail to create nfz_upgrade_timer\n");
}

TEST_F(TfrSelection, IsLoggedAtEvery11thReading)
{
    db.drone_gps[0] = 0.5;
    db.drone_gps[1] = -0.25;
    const area_t polygon = {0xfffffffe, 28'647'889, -14'323'944, 1000, 4};  // around the aircraft
    const area_t circle = {7, polygon.lat + MILLIDEGREE, polygon.lng, 0};
    const std::string tag = "log_all_tfr_info: ";
    // Ids and times above 2^31 are printed as they wrap.
    const auto slot = [&](const std::string& head, const area_t& area, const std::string& end) {
        const double distance = double{model_distance(0.5, -0.25, area.lat, area.lng, area.radius)};
        const std::string center = std::to_string(area.lat) + ", " + std::to_string(area.lng);
        const std::string text = head + ", distance:" + std::to_string(distance) + ", center(" + center + ")" + end;
        return tag + text.substr(0, 126);
    };
    texts_t wanted = {tag + "tfr reference pos, pos_type:2, lat:0.500000, lng:-0.250000", tag + "tfr_info num:2",
                      slot("[0]area_id:-2", polygon, ", time(2147483646-->-2), polygon_points:4"),
                      slot("[1]area_id:7", circle, ", time(-2147483641-->-2), polygon_points:0")};
    for (const char* empty : {"2", "3", "4"})
        wanted.push_back(tag + "[" + empty +
                         "]area_id:0, distance:40076000.000000, center(0, 0), time(0-->0), polygon_points:0");
    takes({circle, polygon});
    db.gps_ctrl_level = 3;
    for (int round = 0; round < 2; ++round) {
        ticks(10);
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
    const auto expect_no_heap = [&](const char* what) {
        clock.ticks("nfz_tfr_timer");  // makes buffers of the C library ready
        for (int round = 0; round < 11; ++round)
            EXPECT_EQ(heap_calls_of([&] { clock.ticks("nfz_tfr_timer"); }), 0u) << what;
    };
    takes(many);
    const int watch = inotify_init1(IN_NONBLOCK);
    ASSERT_GE(inotify_add_watch(watch, TFR, IN_OPEN | IN_CLOSE), 0);
    EXPECT_EQ(push_after_tick(), push_of(uid_of(0xa0), 5, 0, many[490].item()));
    std::vector<inotify_event> events(16);
    const ssize_t length = read(watch, events.data(), events.size() * sizeof(inotify_event));
    close(watch);
    EXPECT_EQ(length, ssize_t{2 * sizeof(inotify_event)});
    EXPECT_EQ(events[0].mask, uint32_t{IN_OPEN});
    EXPECT_EQ(events[1].mask, uint32_t{IN_CLOSE_NOWRITE});
    for (const size_t next : {489u, 491u, 488u, 492u})
        EXPECT_EQ(part(push_after_tick(), 18, 125), many[next].item()) << next;
    expect_no_heap("good file");
    const bytes_t one = tfr_file({{1, 0, 0}});
    write_file(TFR, with_digest(u16(65535) + part(one, 2, one.size())));
    expect_no_heap("announces more than it holds");
    write_file(TFR, {1, 2, 3});
    expect_no_heap("damaged, then empty");
    std::remove(TFR);
    expect_no_heap("missing");
}
