// A motion list on paper, and as the service flies it.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

#include "motion_list/fields.h"
#include "motion_list/list_check.h"
#include "motion_list_stand.h"

namespace {

using MotionListPlan = MotionListStand;

// Of a record that has nothing else.
template <class Record>
std::vector<fp32> numbers_of(const Record& record)
{
    std::vector<fp32> numbers(sizeof record / sizeof(fp32));
    std::memcpy(numbers.data(), &record, sizeof record);
    return numbers;
}

const std::pair<const char*, const AfqtCraftCfgItem*> DRONES[] = {{"rv880", &RV880_AFQT_CFG},
                                                                  {"qx520", &QX520_AFQT_CFG}};

TEST_F(MotionListPlan, ReckonsWithTheServicesCraftTables)
{
    for (const auto& [name, cfg] : DRONES) {
        const peers::craft_t& craft = peers::drone_named(name)[0];
        EXPECT_EQ(numbers_of(craft.speeds), numbers_of(cfg->tilt_vel_curve)) << name;
        EXPECT_EQ(numbers_of(craft.modes[0]), numbers_of(cfg->p_mode)) << name;
        EXPECT_EQ(numbers_of(craft.modes[1]), numbers_of(cfg->s_mode)) << name;
        EXPECT_EQ(numbers_of(peers::TILT_ANGLES), numbers_of(ref_tilt)) << name;
    }
}

// As the frame that goes out, for an entry that starts at that height and heading.
numbers_t frame_of(const peers::command_t& command, const peers::list_entry_t& entry, double altitude, double heading)
{
    double x = command.tilt[0] + command.speed[0], y = command.tilt[1] + command.speed[1];
    if (entry.motion == MOTION_LINE) {
        const double turn = heading * std::numbers::pi / 180;
        x = command.speed[0] * std::cos(turn) - command.speed[1] * std::sin(turn);
        y = command.speed[0] * std::sin(turn) + command.speed[1] * std::cos(turn);
    }
    const uint8_t loop = entry.motion == MOTION_STEP
                             ? static_cast<uint8_t>(peers::number_of(*entry.para_cfg, "loop_id"))
                             : uint8_t{kLoopNull};
    return {x, y, loop == kVertPos ? altitude + command.height : command.climb,
            loop == kAttiZ ? heading + command.heading : command.turn};
}

TEST_F(MotionListPlan, PredictsEveryTickOfEveryEntry)
{
    for (const auto& [name, cfg] : DRONES) {
        set_craft_cfg(cfg);
        for (const std::string& text : motion_lists()) {
            const auto check = peers::check_motion_list(text, peers::drone_named(name));
            MotionListVec& motions = reads(text);
            ASSERT_EQ(check.predictions.size(), 1u);
            for (const peers::flown_entry_t& flown : check.predictions[0].flight.entries) {
                if (!flown.seconds) continue;
                std::vector<numbers_t> wanted;
                peers::plan_entry(flown.entry, peers::drone_named(name)[0],
                                  [&](uint64_t ticks, const peers::command_t& one) {
                                      wanted.insert(wanted.end(), ticks, frame_of(one, flown.entry, 20, 10));
                                  });
                starts_at(20, 10);
                float worst = 0;
                const int ticks = flies(*motions.at(flown.entry.number), [&](int tick, const record_t& record) {
                    if (record.payload.size() != sizeof(sticks_t)) return;
                    const sticks_t sticks = sticks_of(record);
                    if (flown.entry.motion == MOTION_LINE) follows(sticks);
                    const numbers_t& all = wanted.at(std::min<size_t>(static_cast<size_t>(tick), wanted.size() - 1));
                    const float got[] = {sticks.roll_or_x, sticks.pitch_or_y, sticks.thr_z, sticks.yaw};
                    for (size_t i = 0; i < 4 && tick < static_cast<int>(wanted.size()) - 2; i++)
                        worst = std::max(worst, std::fabs(got[i] - static_cast<float>(all[i])));
                });
                EXPECT_LT(worst, 0.01f) << name << " " << flown.entry.member->key;
                // A distance is measured by positions in radians, which may take a tick more or less.
                EXPECT_NEAR(ticks, static_cast<double>(wanted.size()), flown.end.distance ? 1 : 0)
                    << name << " " << flown.entry.member->key;
                EXPECT_NEAR(*flown.seconds, ticks * 0.02, flown.end.distance ? 0.021 : 1e-9);
            }
        }
    }
}

}  // namespace
