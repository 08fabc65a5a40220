// Upgrades that end well; what goes wrong on the way is told by the fault catalogue, on this bus as well.
#include <gmock/gmock.h>

#include <csignal>
#include <thread>

#include "nfz_file/nfz_file.h"
#include "stage/real_world.h"
#include "upgrade_wire.h"

class UpgradeStory : public testing::Test {
protected:
    UpgradeStory() { world.launch(); }

    peers::upgrade_result_t app_sends()
    {
        return world.result_of<peers::upgrade_result_t>(world.app().upgrade(),
                                                        peers::upgrade_job_t{sent, options, {}, {}});
    }

    // Everything in ranges, as the flight controller does.
    bytes_t read_back()
    {
        peers::DatabaseReader reader(world.app().endpoint());
        return world.result_of<peers::read_result_t>(reader, peers::read_job_t{}).data;
    }

    static constexpr peers::nfz_version_t VERSION = {{1, 0, 0, 7}};
    RealWorld world{1};
    peers::upgrade_options_t options;
    const bytes_t sent = peers::build_nfz_file({VERSION, 1, 1, peers::generate_nfz_content(VERSION, 300'000)});
};

TEST_F(UpgradeStory, WholeDatabaseArrivesAndTheMotorsAreHeldMeanwhile)
{
    peers::MotorInterlock& motors = world.controller().motors();
    // Long enough for the half-second timer to be seen.
    options.bytes_per_second = 200'000;
    EXPECT_EQ(app_sends().outcome, peers::upgrade_outcome::done);

    EXPECT_EQ(file_bytes(DATABASE), sent);
    EXPECT_TRUE(within(3s, [&] { return motors.changes().size() == 2; }));
    EXPECT_TRUE(motors.changes().front().held);
    EXPECT_FALSE(motors.held());
    EXPECT_TRUE(within(3s, [&] {
        const auto heard = world.app().announcements().last();
        return heard && heard->version[3] == 7;
    }));
    EXPECT_EQ(read_back(), sent);
    // Registered once, then held and released under the granted id.
    const auto orders = world.sent(HOST_NFZ_UPGRADE, SET_FLIGHT_CONTROLLER, ID_SET_MOTOR_ERR);
    ASSERT_GE(orders.size(), 3u);
    vela_fc_set_set_motor_ext_err_req order = {};
    ASSERT_TRUE(peers::read_record(orders.back().payload, order));
    EXPECT_NE(uint32_t{order.requester_id}, 0u);
    EXPECT_EQ(world.sent(HOST_NFZ_UPGRADE, SET_FLIGHT_CONTROLLER, ID_REGISTER_MOTOR_ERR).size(), 1u);
}

// The service stands still for longer than the app's patience: the app sends the block again, the service sees it
// twice and answers the second with the last number.
TEST_F(UpgradeStory, ReplyThatComesTooLateIsResumedBehindTheLastBlock)
{
    world.app();
    std::thread stall([this] {
        std::this_thread::sleep_for(300ms);
        world.service().signal(SIGSTOP);
        std::this_thread::sleep_for(700ms);
        world.service().signal(SIGCONT);
    });
    options.reply_timeout_us = 200'000;
    options.bytes_per_second = 300'000;
    const auto result = app_sends();
    stall.join();

    EXPECT_EQ(result.outcome, peers::upgrade_outcome::done) << result.what;
    EXPECT_GT(result.resends, 0u);
    EXPECT_EQ(file_bytes(DATABASE), sent);
}
