// Upgrades that end well, some after trouble on the way.
#include <csignal>
#include <thread>

#include "stage.h"

using testing::Each;
using testing::HasSubstr;

class UpgradeStory : public Stage {
protected:
    UpgradeStory() { starts_service(); }
};

static bool is_disable(const seen_t& seen)
{
    return seen.payload.at(6) == MOTOR_DISABLE;
}

// Reads everything in ranges, as the flight controller does.
static bytes_t read_back(Hand& reader)
{
    bytes_t all;
    for (uint32_t length = PROFILE_MAX_READ; length > 0;) {
        const bytes_t answer = reader.reads(static_cast<uint32_t>(all.size()), length);
        if (answer.at(0) == PROFILE_RET_OK) {
            all.insert(all.end(), answer.begin() + 5, answer.end());
        } else {
            length /= 2;
        }
    }
    return all;
}

TEST_F(UpgradeStory, WholeDatabaseArrivesAndTheMotorsAreHeldMeanwhile)
{
    const auto controller = flight_controller();
    const auto phone = app();
    const bytes_t sent = database(7, 300'000);
    peers::upgrade_options_t options;
    options.bytes_per_second = 200'000;  // long enough for the half-second timer to be seen

    EXPECT_EQ(app_sends(*phone, sent, options).outcome, peers::upgrade_outcome::done);

    EXPECT_EQ(file_bytes(DATABASE), sent);
    EXPECT_TRUE(within(3s, [&] { return controller->motors().changes().size() == 2; }));
    EXPECT_TRUE(controller->motors().changes().front().held);
    EXPECT_FALSE(controller->motors().held());
    EXPECT_TRUE(within(3s, [&] {
        const auto heard = phone->announcements().last();
        return heard && heard->version[3] == 7;
    }));
    Hand reader("factory", "station");
    EXPECT_EQ(read_back(reader), sent);
    // Registered once, then held and released under the granted id.
    const auto holds = tap->sent(HOST_NFZ_UPGRADE, SET_FLIGHT_CONTROLLER, ID_SET_MOTOR_ERR);
    ASSERT_GE(holds.size(), 3u);
    // Packed members are copied: a matcher would bind a reference to them.
    const uint32_t requester = record_of<vela_fc_set_set_motor_ext_err_req>(holds.back().payload).requester_id;
    EXPECT_NE(requester, 0u);
    EXPECT_EQ(tap->sent(HOST_NFZ_UPGRADE, SET_FLIGHT_CONTROLLER, ID_REGISTER_MOTOR_ERR).size(), 1u);
}

// The service stands still for longer than the app's patience: the app sends the block again, the service sees it
// twice and answers the second with the last number.
TEST_F(UpgradeStory, ReplyThatComesTooLateIsResumedBehindTheLastBlock)
{
    const auto phone = app();
    const bytes_t sent = database(3, 400'000);
    peers::upgrade_options_t options;
    options.reply_timeout_us = 200'000;
    options.bytes_per_second = 400'000;
    std::thread stall([this] {
        std::this_thread::sleep_for(300ms);
        service.signal(SIGSTOP);
        std::this_thread::sleep_for(700ms);
        service.signal(SIGCONT);
    });

    const peers::upgrade_result_t result = app_sends(*phone, sent, options);
    stall.join();

    EXPECT_EQ(result.outcome, peers::upgrade_outcome::done) << result.what;
    EXPECT_GT(result.resends, 0u);
    EXPECT_EQ(file_bytes(DATABASE), sent);
}

TEST_F(UpgradeStory, OnlyTheAppMakesTheMotorsHold)
{
    const auto controller = flight_controller();
    Hand station("factory", "station");
    station.sends_blocks(database(1), 4);
    std::this_thread::sleep_for(1200ms);
    EXPECT_TRUE(tap->sent(HOST_NFZ_UPGRADE, SET_FLIGHT_CONTROLLER, ID_REGISTER_MOTOR_ERR).empty());
    Hand phone;
    EXPECT_EQ(phone.entry(), UPGRADE_RET_OK);
    EXPECT_TRUE(
        within(2s, [&] { return !tap->sent(HOST_NFZ_UPGRADE, SET_FLIGHT_CONTROLLER, ID_REGISTER_MOTOR_ERR).empty(); }));
}

TEST_F(UpgradeStory, GoodDatabaseSurvivesARestart)
{
    Hand hand;
    const bytes_t sent = database(9);
    ASSERT_EQ(hand.sends(sent), UPGRADE_RET_OK);
    restarts_service();
    EXPECT_EQ(file_bytes(DATABASE), sent);
    EXPECT_EQ(read_back(hand), sent);
}

TEST_F(UpgradeStory, FailedUpgradeHoldsTheMotorsUntilTheNextSuccess)
{
    const auto controller = flight_controller();
    Hand hand;
    hand.sends_blocks(database(1), 2);
    EXPECT_EQ(hand.end(database(1)), UPGRADE_RET_STATE);
    ASSERT_TRUE(within(3s, [&] { return controller->motors().held(); }));
    tap->forget();
    std::this_thread::sleep_for(1200ms);
    const auto holds = tap->sent(HOST_NFZ_UPGRADE, SET_FLIGHT_CONTROLLER, ID_SET_MOTOR_ERR);
    EXPECT_GE(holds.size(), 2u);
    for (const seen_t& seen : holds)
        EXPECT_TRUE(is_disable(seen));
    expect_next_upgrade_works(hand, 1);
    EXPECT_TRUE(within(3s, [&] { return !controller->motors().held(); }));
}
