// Restricted areas from the app to the flight controller: delivered, selected as the aircraft moves, pushed one a
// second. Transfers that stop or are cut are told by the fault catalogue. Time runs twenty times faster.
#include <gmock/gmock.h>

#include <numbers>

#include "stage/real_world.h"
#include "tfr_file/tfr_file.h"

using testing::ElementsAre;

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

class Restrictions : public testing::Test {
protected:
    Restrictions()
    {
        world.controller();
        world.launch();
    }

    void aircraft_is_at(double km_north, uint8_t gps_level = 5)
    {
        state.latitude = (HOME.latitude + km_north / 5 * 0.045) * RADIANS;
        state.longitude = HOME.longitude * RADIANS;
        state.gps_level = gps_level;
        world.controller().bags().set_state(state);
    }

    // Two whole rounds of pushes that are still to come: the ids by place; empty if none are without a gap or a change.
    std::vector<uint32_t> two_rounds_of_pushes(uint8_t areas)
    {
        world.forget();
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
        for (const seen_t& seen : world.sent(HOST_FLIGHT_SERVICE, SET_FLYLIMIT, ID_TFR_PUSH)) {
            EXPECT_EQ(seen.payload.size(), sizeof(vela_flight_push_tfr_t));
            EXPECT_TRUE(peers::read_record(seen.payload, all.emplace_back()));
        }
        return all;
    }

    bool settles(const std::vector<uint32_t>& ids)
    {
        return within(10s, [&] {
            const peers::restrictions_t now = world.controller().restrictions().now();
            return now.complete() && now.ids() == ids;
        });
    }

    RealWorld world;
    peers::aircraft_state_t state;
};

TEST_F(Restrictions, NearestFiveFollowTheAircraftPastEightAreas)
{
    aircraft_is_at(0);
    const bytes_t file = file_of(1, 8);
    const auto sent =
        world.result_of<peers::transfer_result_t>(world.app().restrictions(), peers::tfr_job_t{file, {}, {}, {}});
    EXPECT_EQ(sent.outcome, peers::transfer_outcome::done);
    EXPECT_EQ(file_bytes(AREAS), file);
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
    const peers::restrictions_t known = world.controller().restrictions().now();
    EXPECT_EQ(joined(peers::bytes_of(*known.areas[3])), joined(peers::bytes_of(area(5))));
    EXPECT_EQ(known.uid, *peers::tfr_uid_of(file));
}
