// How the service comes up, also when things are missing.
#include <csignal>
#include <filesystem>

#include "stage.h"

using testing::HasSubstr;

class StartUp : public Stage {};

static constexpr const char* START_LINES =
    "flight_time_init\nflight_log_init\nflight_v1_init\napi_init\ndbi_init\nupgrade_init\ntfr_init\n";

TEST_F(StartUp, LinesInOrderAndTheSubscriptionOnTheBus)
{
    const auto controller = flight_controller();
    starts_service();
    EXPECT_TRUE(within(5s, [&] { return service.output() == START_LINES; })) << service.output();
    EXPECT_THAT(service.log(), HasSubstr("vela_flight version: 0-0-0-15\n"));
    EXPECT_TRUE(within(3s, [&] { return tap->sent(HOST_FLIGHT_CONTROLLER, 0x03, ID_DB_BAG_PUSH).size() > 20; }));
    const auto adds = tap->sent(HOST_FLIGHT_SERVICE, 0x03, ID_DB_BAG_ADD);
    ASSERT_EQ(adds.size(), 1u);
    EXPECT_EQ(adds[0].payload.size(), 37u);
    EXPECT_EQ(tap->sent(HOST_FLIGHT_SERVICE, 0x03, ID_DB_BAG_RESET).front().payload, bytes_t{0});
}

// No routes: nothing can be reached, but the process stays and says what to write.
TEST_F(StartUp, WithoutRoutesItStaysUpAndSaysWhatIsMissing)
{
    std::filesystem::remove("/usr/local/tarn/vela.json");
    service.start();
    EXPECT_TRUE(within(10s, [&] { return service.output() == START_LINES; })) << service.output();
    EXPECT_THAT(service.log(), HasSubstr("Create fc_fmu route table fail! result=0xfffffffe\n"));
    EXPECT_THAT(service.log(), HasSubstr("upgrade create fc_fmu route table fail! result=0xfffffffe\n"));
    EXPECT_THAT(service.log(), HasSubstr("/usr/local/tarn/vela.json"));
    EXPECT_TRUE(service.runs());
}

// Two services must not share an address: the second one's clients fail, the first one goes on.
TEST_F(StartUp, SecondInstanceGetsNoAddress)
{
    starts_service();
    Service second;
    second.start();
    EXPECT_TRUE(within(10s, [&] { return second.output() == START_LINES; }));
    EXPECT_THAT(second.log(), HasSubstr("fc_fmu kest_event_create_client() error: -98\n"));
    EXPECT_THAT(second.log(), HasSubstr("upgrade create event fail!\n"));
    second.kill();
    Hand hand;
    EXPECT_EQ(hand.ask(HOST_FLIGHT_SERVICE, 0, ID_GET_VERSION, {}).size(), 61u);
    expect_next_upgrade_works(hand, 1);
}

TEST_F(StartUp, CountersOnSigusr1)
{
    starts_service();
    service.signal(SIGUSR1);
    EXPECT_TRUE(within(2s, [&] { return service.log().find("send_peer_absent") != std::string::npos; }));
    EXPECT_TRUE(service.runs());
}

// The supervisor that reads the output dies: lines are lost. It used to take the service along.
TEST_F(StartUp, ReaderOfTheOutputMayGoAway)
{
    service.start_unread();
    Hand hand;
    ASSERT_TRUE(within(10s, [&] { return hand.ask(HOST_FLIGHT_SERVICE, 0, ID_GET_VERSION, {}, 1s).size() == 61; }));
    // A refused range says so on standard output.
    EXPECT_TRUE(within(10s, [&] {
        const bytes_t answer = hand.reads(0, 271);
        return !answer.empty() && answer[0] == PROFILE_RET_TOO_LONG;
    }));
    EXPECT_TRUE(service.runs());
}

class Silence : public Stage {
protected:
    Silence() : Stage(20) {}
};

// The flight controller appears only after the service: the watch subscribes anew every five seconds.
TEST_F(Silence, OfTheFlightControllerIsAnsweredByANewSubscription)
{
    starts_service();
    ASSERT_TRUE(within(3s, [&] { return service.log().find("restart db sub err_cnt:2 ") != std::string::npos; }));
    const auto controller = flight_controller();
    ASSERT_TRUE(within(2s, [&] { return tap->sent(HOST_FLIGHT_CONTROLLER, 0x03, ID_DB_BAG_PUSH).size() > 100; }));
    const auto restarts = tap->sent(HOST_FLIGHT_SERVICE, 0x03, ID_DB_BAG_ADD).size();
    std::this_thread::sleep_for(1s);
    EXPECT_EQ(tap->sent(HOST_FLIGHT_SERVICE, 0x03, ID_DB_BAG_ADD).size(), restarts) << "pushes come: nothing to do";
}
