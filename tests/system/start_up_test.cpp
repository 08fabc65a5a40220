// How the service comes up; what may be missing then is told by the fault catalogue.
#include <gmock/gmock.h>

#include <csignal>

#include "stage/real_world.h"

using testing::HasSubstr;

static constexpr const char* START_LINES =
    "flight_time_init\nflight_log_init\nflight_v1_init\napi_init\ndbi_init\nupgrade_init\ntfr_init\n";

TEST(StartUp, LinesInOrderTheSubscriptionOnTheBusAndCountersOnSigusr1)
{
    RealWorld world(1);
    world.controller();
    world.launch();
    Service& service = world.service();
    EXPECT_TRUE(within(5s, [&] { return service.output() == START_LINES; })) << service.output();
    EXPECT_THAT(service.log(), HasSubstr("vela_flight version: 0-0-0-15\n"));
    EXPECT_TRUE(within(3s, [&] { return world.sent(FMU.host, SET_FLIGHT_CONTROLLER, ID_DB_BAG_PUSH).size() > 20; }));
    const auto adds = world.sent(HOST_FLIGHT_SERVICE, SET_FLIGHT_CONTROLLER, ID_DB_BAG_ADD);
    ASSERT_EQ(adds.size(), 1u);
    EXPECT_EQ(adds[0].payload.size(), 37u);
    EXPECT_EQ(world.sent(HOST_FLIGHT_SERVICE, SET_FLIGHT_CONTROLLER, ID_DB_BAG_RESET).front().payload, bytes_t{0});
    service.signal(SIGUSR1);
    EXPECT_TRUE(within(2s, [&] { return service.log().find("send_peer_absent") != std::string::npos; }));
    EXPECT_TRUE(service.runs());
}
