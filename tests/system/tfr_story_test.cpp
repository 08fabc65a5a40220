// Restricted areas from the app to the flight controller: delivered, selected as the aircraft moves, pushed one a
// second. Time runs twenty times faster.
#include <cstring>
#include <numbers>

#include "stage.h"
#include "tfr_file/tfr_file.h"

using testing::ElementsAre;
using testing::HasSubstr;

static constexpr const char* TFR_FILE = "/tmp/EMMC/nfz_tfr.bin";
static constexpr double RADIANS = std::numbers::pi / 180;

struct place_t {
    double latitude;  // degrees
    double longitude;
};

static constexpr place_t HOME = {48.1, 11.5};

// Eight areas on a line to the north, 5 km from each other: area k lies 5 k km from home. The middle ones are polygons.
static vela_tfr_item_t area(uint32_t number)
{
    vela_tfr_item_t area = {};
    area.area_id = 100 + number;
    area.center = {static_cast<int32_t>(HOME.longitude * 1e6),
                   static_cast<int32_t>((HOME.latitude + number * 0.045) * 1e6)};
    area.radius = 400;
    area.start_at = 1'700'000'000;
    area.end_at = 1'900'000'000;
    if (number == 4 || number == 5) area.point_num = static_cast<uint8_t>(number);
    for (int32_t corner = 0; corner < area.point_num; ++corner)
        area.points[corner] = {area.center.lng + corner * 1000, area.center.lat - corner * 1000};
    return area;
}

static bytes_t file_of(uint32_t first, uint32_t last)
{
    peers::tfr_recipe_t recipe;
    for (uint32_t number = first; number <= last; ++number)
        recipe.areas.push_back(area(number));
    return peers::build_tfr_file(recipe);
}

// The first fragment of a transfer.
static bytes_t first_fragment(const bytes_t& file, uint8_t size)
{
    const update_tfr_req_t head = {UPDATE_DATA, 0, static_cast<uint32_t>(file.size()), size};
    bytes_t fragment(sizeof head + size);
    std::memcpy(fragment.data(), &head, sizeof head);
    std::copy_n(file.begin(), size, fragment.begin() + sizeof head);
    return fragment;
}

class Restrictions : public Stage {
protected:
    Restrictions() : Stage(20)
    {
        controller = flight_controller();
        starts_service();
        phone = app();
    }

    void aircraft_is_at(double km_north, uint8_t gps_level = 5)
    {
        state.latitude = (HOME.latitude + km_north / 5 * 0.045) * RADIANS;
        state.longitude = HOME.longitude * RADIANS;
        state.gps_level = gps_level;
        controller->bags().set_state(state);
    }

    // Two whole rounds of pushes that are still to come: the ids by place; empty if none are without a gap or a change.
    std::vector<uint32_t> two_rounds_of_pushes(uint8_t areas)
    {
        tap->forget();
        std::vector<uint32_t> ids;
        within(10s, [&] { return !(ids = last_two_rounds(areas)).empty(); });
        return ids;
    }

    std::vector<uint32_t> last_two_rounds(uint8_t areas) const
    {
        const auto seen = pushes();
        const size_t wanted = 2 * size_t{areas};
        if (seen.size() <= wanted) return {};
        std::vector<uint32_t> ids(areas);
        for (size_t i = seen.size() - wanted; i < seen.size(); ++i) {
            const auto& push = seen[i];
            if (push.num != areas || push.idx != (seen[i - 1].idx + 1) % areas) return {};
            if (i >= seen.size() - areas && ids[push.idx] != push.tfr_data.area_id) return {};
            ids[push.idx] = push.tfr_data.area_id;
        }
        return ids;
    }

    std::vector<vela_flight_push_tfr_t> pushes() const
    {
        std::vector<vela_flight_push_tfr_t> all;
        for (const seen_t& seen : tap->sent(HOST_FLIGHT_SERVICE, SET_FLYLIMIT, ID_TFR_PUSH)) {
            EXPECT_EQ(seen.payload.size(), 125u);
            all.push_back(record_of<vela_flight_push_tfr_t>(seen.payload));
        }
        return all;
    }

    bool settles(const std::vector<uint32_t>& ids)
    {
        return within(10s, [&] {
            const peers::restrictions_t now = controller->restrictions().now();
            return now.complete() && now.ids() == ids;
        });
    }

    std::unique_ptr<peers::FlightController> controller;
    std::unique_ptr<peers::AppPeer> phone;
    peers::aircraft_state_t state;
};

TEST_F(Restrictions, NearestFiveFollowTheAircraftPastEightAreas)
{
    aircraft_is_at(0);
    EXPECT_EQ(app_delivers(*phone, file_of(1, 8)).outcome, peers::transfer_outcome::done);
    EXPECT_EQ(file_bytes(TFR_FILE), file_of(1, 8));
    ASSERT_TRUE(settles({101, 102, 103, 104, 105}));
    EXPECT_THAT(two_rounds_of_pushes(5), ElementsAre(101, 102, 103, 104, 105));
    // Past area 4, nearer to 5; then behind all of them.
    aircraft_is_at(22.6);
    ASSERT_TRUE(settles({105, 104, 106, 103, 107}));
    EXPECT_THAT(two_rounds_of_pushes(5), ElementsAre(105, 104, 106, 103, 107));
    aircraft_is_at(60);
    ASSERT_TRUE(settles({108, 107, 106, 105, 104}));
    EXPECT_THAT(two_rounds_of_pushes(5), ElementsAre(108, 107, 106, 105, 104));
    // What is pushed is the area as it was delivered, corners included.
    const peers::restrictions_t known = controller->restrictions().now();
    EXPECT_EQ(bytes_of(*known.areas[3]), bytes_of(area(5)));
    EXPECT_EQ(known.uid, *peers::tfr_uid_of(file_of(1, 8)));
}

TEST_F(Restrictions, TransferUnderWayLeavesTheSelectionPushed)
{
    aircraft_is_at(0);
    ASSERT_TRUE(within(10s, [&] { return !pushes().empty(); }));
    EXPECT_EQ(bytes_of(pushes().back()), bytes_t(125)) << "nothing is stored yet";
    EXPECT_EQ(app_delivers(*phone, file_of(1, 3)).outcome, peers::transfer_outcome::done);
    ASSERT_TRUE(settles({101, 102, 103}));

    Hand hand("factory", "station");
    const bytes_t next = file_of(5, 6);
    const bytes_t answer =
        hand.ask(HOST_FLIGHT_SERVICE, SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE, first_fragment(next, 50));
    ASSERT_EQ(answer.size(), 18u);
    EXPECT_EQ(answer[0], TFR_UPDATE_SUCCESS);
    EXPECT_TRUE(within(5s, [&] {
        return service.log().find("can not read, tfr is updating, update state is:1") != std::string::npos;
    }));
    EXPECT_THAT(two_rounds_of_pushes(3), ElementsAre(101, 102, 103));

    // The app begins anew and takes over.
    EXPECT_EQ(app_delivers(*phone, next).outcome, peers::transfer_outcome::done);
    EXPECT_TRUE(settles({105, 106}));
    EXPECT_TRUE(app_delivers(*phone, next).already_there);
}

TEST_F(Restrictions, FileCutByAKillIsEmptiedAndTheNextDeliveryWorks)
{
    aircraft_is_at(0);
    const bytes_t whole = file_of(1, 8);
    const bytes_t fragment = first_fragment(whole, 200);
    {
        Hand hand("factory", "station");
        ASSERT_EQ(hand.ask(HOST_FLIGHT_SERVICE, SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE, fragment).size(), 18u);
    }
    ASSERT_EQ(file_bytes(TFR_FILE).size(), 200u);
    restarts_service();
    EXPECT_TRUE(within(10s, [&] { return file_bytes(TFR_FILE).empty(); }));
    EXPECT_THAT(service.log(), HasSubstr("ERROR: md5 check fail, tfr file is not ok"));
    EXPECT_EQ(app_delivers(*phone, whole).outcome, peers::transfer_outcome::done);
    EXPECT_TRUE(settles({101, 102, 103, 104, 105}));
}
