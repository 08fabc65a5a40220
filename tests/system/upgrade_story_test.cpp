// Upgrades that end well; what goes wrong on the way is told by the fault catalogue, on this bus as well.
#include <csignal>
#include <thread>

#include "stage.h"

class UpgradeStory : public Stage {
protected:
    UpgradeStory() { starts_service(); }
};

// Reads everything in ranges, as the flight controller does.
static bytes_t read_back()
{
    Hand reader;
    bytes_t all;
    for (uint32_t length = PROFILE_MAX_READ; length > 0;) {
        const upgrade_profile_read_file_req_t range = {0, static_cast<uint32_t>(all.size()), length};
        const bytes_t answer = reader.ask(HOST_NFZ_UPGRADE, SET_FLYLIMIT, ID_NFZ_READ, bytes_of(range));
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
    EXPECT_EQ(read_back(), sent);
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
