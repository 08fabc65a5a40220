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

TEST_F(UpgradeStory, RepeatedAndSkippedBlocksAreRefusedWithTheLastNumber)
{
    Hand hand;
    const bytes_t sent = database(1);
    hand.sends_blocks(sent, 3);
    for (const int32_t number : {2, 0, 1, 4, 9}) {
        EXPECT_EQ(hand.block(number, sent), UPGRADE_RET_BLOCK_NUMBER);
        EXPECT_EQ(hand.last_block(), 2);
    }
    for (int32_t number = 3; number < 21; ++number)
        EXPECT_EQ(hand.block(number, sent), UPGRADE_RET_OK);
    EXPECT_EQ(hand.end(sent), UPGRADE_RET_OK);
    EXPECT_EQ(file_bytes(DATABASE), sent);
}

TEST_F(UpgradeStory, SurplusBytesOfTheLastBlockAreCut)
{
    Hand hand;
    const bytes_t whole = database(1, 2000);
    bytes_t sent = whole;
    sent.resize(2500, 0xee);
    ASSERT_EQ(hand.entry(), 0);
    ASSERT_EQ(hand.start(2000), 0);
    for (int32_t number = 0; number < 3; ++number)
        ASSERT_EQ(hand.block(number, sent), 0);
    EXPECT_EQ(hand.end(whole), UPGRADE_RET_OK);
    EXPECT_EQ(file_bytes(DATABASE), whole);
    EXPECT_THAT(service.log(), HasSubstr("packet_data_len:540, after modify, need_to_saved_data_len:40\n"));
}

TEST_F(UpgradeStory, TwoClientsAtOnceShareOneUpgrade)
{
    const bytes_t mine = database(2, 60'000);
    Hand first;
    first.sends_blocks(mine, 5);
    Hand second("factory", "station");
    // The second entry abandons the first upgrade; the first one's blocks are then out of place.
    ASSERT_EQ(second.entry(), UPGRADE_RET_OK);
    EXPECT_EQ(first.block(5, mine), UPGRADE_RET_STATE);
    ASSERT_EQ(second.start(static_cast<uint32_t>(mine.size())), UPGRADE_RET_OK);
    // Both may feed it, block by block.
    for (int32_t number = 0; number < 62; ++number) {
        ASSERT_EQ((number % 2 == 0 ? first : second).block(number, mine), UPGRADE_RET_OK) << number;
    }
    EXPECT_EQ(second.end(mine), UPGRADE_RET_OK);
    EXPECT_EQ(file_bytes(DATABASE), mine);
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

// Killed in the middle: the piece on disk is never served by the next process, and the next upgrade is a whole one.
TEST_F(UpgradeStory, ServiceKilledInTheMiddleComesBackWithoutTheBrokenDatabase)
{
    Hand hand;
    const bytes_t sent = database(4);
    hand.sends_blocks(sent, 10);
    ASSERT_EQ(file_bytes(DATABASE).size(), 9800u);

    restarts_service();

    EXPECT_THAT(service.log(), HasSubstr("md5 is not same\n"));
    EXPECT_TRUE(file_bytes(DATABASE).empty());
    EXPECT_EQ(hand.block(10, sent), UPGRADE_RET_STATE);
    EXPECT_EQ(hand.reads(0, 10).at(0), PROFILE_RET_SHORT);
    expect_next_upgrade_works(hand, 4);
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

TEST_F(UpgradeStory, RangesAreServedUpTo270BytesAndNeverDuringAnUpgrade)
{
    Hand hand;
    const bytes_t sent = database(5);
    ASSERT_EQ(hand.sends(sent), UPGRADE_RET_OK);
    struct {
        uint32_t address, length;
        uint8_t code;
    } const cases[] = {
        {0, 270, PROFILE_RET_OK},        {19'730, 270, PROFILE_RET_OK},      {20'000, 0, PROFILE_RET_OK},
        {0, 271, PROFILE_RET_TOO_LONG},  {19'990, 20, PROFILE_RET_SHORT},    {20'000, 1, PROFILE_RET_SHORT},
        {UINT32_MAX, 0, PROFILE_RET_OK}, {UINT32_MAX, 1, PROFILE_RET_SHORT}, {0, UINT32_MAX, PROFILE_RET_TOO_LONG},
    };
    for (const auto& [address, length, code] : cases) {
        SCOPED_TRACE(std::to_string(address) + "+" + std::to_string(length));
        const bytes_t answer = hand.reads(address, length);
        ASSERT_EQ(answer.at(0), code);
        if (code == PROFILE_RET_OK) {
            ASSERT_EQ(answer.size(), 5 + length);
            const uint32_t echoed = record_of<upgrade_profile_read_file_ack_t>(answer).read_addr;
            EXPECT_EQ(echoed, address);
            EXPECT_TRUE(std::equal(answer.begin() + 5, answer.end(), sent.begin() + std::min(address, 20'000u)));
        } else {
            ASSERT_EQ(answer.size(), 275u);
            EXPECT_THAT(bytes_t(answer.begin() + 1, answer.end()), Each(0));
        }
    }
    ASSERT_EQ(hand.entry(), UPGRADE_RET_OK);
    EXPECT_EQ(hand.reads(0, 10).at(0), PROFILE_RET_UPGRADING);
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
