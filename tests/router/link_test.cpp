// What becomes of records when a link, a router or a receiver is not as it should be.
#include <atomic>
#include <csignal>
#include <cstring>
#include <fstream>
#include <thread>

#include "kest_mb.h"
#include "machines.h"
#include "tarn_host.h"

using testing::ElementsAre;

class LinkOfTwo : public Machines {
protected:
    // An endpoint on the aircraft that counts its requests and answers them, and one on the ground that asks.
    void meet()
    {
        service = aircraft->endpoint("flight_service", "flight_srv_fmu");
        answer(*service, &received);
        station = ground->endpoint("factory", "station");
        station->start();
    }
    bool reaches() { return ask(*station, HOST_FLIGHT_SERVICE, {1, 2, 3}) == bytes_t{3, 2, 1}; }

    std::atomic<int> received = 0;
    std::unique_ptr<peers::BusEndpoint> service;
    std::unique_ptr<peers::BusEndpoint> station;
};

// A client of the platform library: its callback hears set 78, id 0x1234; without one it is not started.
static kest_event_client_t open_client(const RouterEnd& machine, const char* service, const char* endpoint,
                                       kest_event_cb_t callback = nullptr)
{
    static kest_event_cmd_desc_t descriptors[0x1235];
    if (callback != nullptr) descriptors[0x1234] = {callback, nullptr, 0};
    const kest_event_cmd_desc_t* tables[KEST_EVENT_SETS] = {};
    uint32_t counts[KEST_EVENT_SETS] = {};
    tables[78] = descriptors;
    counts[78] = std::size(descriptors);
    kest_mb_route_table_t table;
    uint16_t host = 0;
    kest_event_client_t client = nullptr;
    EXPECT_EQ(kest_mb_create_route_table(machine.routes().c_str(), service, endpoint, &host, &table), 0);
    EXPECT_EQ(kest_event_create_client(&table, host, tables, counts, nullptr, &client), 0);
    if (callback != nullptr) kest_event_start_client(client);
    kest_mb_destroy_route_table(&table);
    return client;
}

// Attributes and number pass as they are, or a waiting send would never find its reply.
TEST_F(LinkOfTwo, AWaitingSendGetsItsReplyWithEveryBitOfTheRequest)
{
    static std::atomic<uint32_t> seen[4];
    const kest_event_cb_t note = [](kest_event_client_t client, const kest_event_t* event, void*) {
        seen[0] = event->attrib;
        seen[1] = event->seq_id;
        seen[2] = event->msg_id;
        seen[3] = event->msg_len;
        return kest_event_resp_data_without_retcode(client, event, event->msg_buf, event->msg_len);
    };
    start_both();
    kest_event_client_t asked = open_client(*aircraft, "flight_service", "flight_srv_fmu", note);
    kest_event_client_t asker = open_client(*ground, "factory", "station", note);

    kest_event_t request = {78u << 16 | 0x1234, HOST_FLIGHT_SERVICE, 0xff4f, 0xbeef, 0, KEST_EVENT_MAX_PAYLOAD, {}};
    for (uint32_t i = 0; i < request.msg_len; ++i)
        request.msg_buf[i] = static_cast<uint8_t>(i * 7);
    kest_event_t reply;
    uint32_t size = sizeof reply;
    EXPECT_EQ(kest_event_send_sync(asker, &request, 3'000'000, &reply, &size), 0);
    EXPECT_EQ(size, sizeof reply);
    EXPECT_EQ(std::memcmp(reply.msg_buf, request.msg_buf, sizeof reply.msg_buf), 0);
    EXPECT_EQ(reply.peer_host, HOST_FLIGHT_SERVICE);
    EXPECT_EQ(reply.attrib, (request.attrib & ~0x60) | ATTRIB_REPLY);
    EXPECT_THAT(std::vector<uint32_t>(seen, seen + 4),
                ElementsAre(request.attrib, request.seq_id, request.msg_id, request.msg_len));
    tarn_client_close(asker);
    tarn_client_close(asked);
}

TEST_F(LinkOfTwo, ARouterThatIsKilledLeavesNobodyThereAndComesBack)
{
    start_both();
    meet();
    ASSERT_TRUE(reaches());
    for (RouterEnd* killed : {aircraft.get(), ground.get()}) {
        RouterEnd& other = *(killed == ground.get() ? aircraft : ground);
        killed->program().kill();
        EXPECT_TRUE(within(
            2500ms, [&] { return !other.is_up() && !other.has(other.bus_dir() == "/run/tarn" ? 0x1103 : 0x1105); }));
        EXPECT_THAT(send(*station, HOST_FLIGHT_SERVICE), testing::AnyOf(-ENOENT, -ECONNREFUSED));
        killed->start();
        EXPECT_TRUE(within(5s, [&] { return are_up() && reaches(); })) << other.program().output();
    }
    // One that ends as it should says so, and leaves its own bus at once.
    aircraft->program().signal(SIGTERM);
    EXPECT_EQ(aircraft->program().ends(), 0);
    EXPECT_FALSE(aircraft->has(HOST_FACTORY_STATION));
    EXPECT_TRUE(within(1s, [&] { return !ground->has(HOST_FLIGHT_SERVICE); })) << ground->program().output();
    EXPECT_EQ(ground->events("link_down").back()["why"], "the other router has ended");
}

// ZeroMQ tells once of what has come, and may tell a thread that only sends: the reply would wait for the next beat.
TEST_F(LinkOfTwo, NoReplyWaitsWhileAnotherEndpointSends)
{
    start_both();
    meet();
    auto phone = ground->endpoint("app", "phone");
    phone->start();
    std::atomic<bool> is_over = false;
    std::thread noise([&] {
        for (; !is_over; std::this_thread::sleep_for(std::chrono::microseconds(1100)))
            send(*phone, HOST_FLIGHT_SERVICE);
    });
    auto longest = std::chrono::nanoseconds(0);
    for (int i = 0; i < 10000; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_TRUE(reaches()) << i;
        longest = std::max(longest, std::chrono::nanoseconds(std::chrono::steady_clock::now() - begin));
    }
    is_over = true;
    noise.join();
    EXPECT_LT(longest, 300ms);
}

// No packet says that the cable is out: only silence does. What was sent meanwhile must not arrive later.
TEST_F(LinkOfTwo, ACutCableIsNoticedInTwoSecondsAndNothingOldComesThroughAfterwards)
{
    if (!has_cable()) GTEST_SKIP() << "this machine allows no network namespaces";
    start_both();
    meet();
    ASSERT_EQ(send(*station, HOST_FLIGHT_SERVICE), 0);
    ASSERT_TRUE(within(2s, [&] { return received == 1; }));

    pull_cable();
    const auto cut = std::chrono::steady_clock::now();
    int taken = 0;
    while (ground->is_up() && std::chrono::steady_clock::now() < cut + 5s) {
        if (send(*station, HOST_FLIGHT_SERVICE) == 0) ++taken;
        std::this_thread::sleep_for(20ms);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - cut, 2800ms);
    EXPECT_GT(taken, 50) << "until then the bus takes them";
    EXPECT_TRUE(within(500ms, [&] { return !ground->has(HOST_FLIGHT_SERVICE) && !aircraft->is_up(); }));
    std::this_thread::sleep_for(1s);
    mend_cable();
    ASSERT_TRUE(within(10s, [&] { return are_up() && ground->has(HOST_FLIGHT_SERVICE); }))
        << ground->program().output();
    std::this_thread::sleep_for(500ms);
    EXPECT_EQ(received, 1);
    EXPECT_EQ(send(*station, HOST_FLIGHT_SERVICE), 0);
    EXPECT_TRUE(within(2s, [&] { return received == 2; }));
}

TEST_F(LinkOfTwo, ASlowOtherEndFillsABoundedQueueAndNothingElse)
{
    start_both();
    meet();
    auto beside = ground->endpoint("app", "phone");
    answer(*beside);
    aircraft->program().signal(SIGSTOP);
    const auto flooded = [&] {
        for (int i = 0; i < 2000; ++i)
            send(*station, HOST_FLIGHT_SERVICE, bytes_t(1000));
        return ground->count("link_full") > 100;
    };
    EXPECT_TRUE(within(1800ms, flooded)) << ground->program().output();
    EXPECT_EQ(ask(*station, HOST_APP, {1, 2}), (bytes_t{2, 1})) << "the ground's own bus is as quick as ever";
    EXPECT_TRUE(within(4s, [&] { return !ground->is_up(); }));
    aircraft->program().signal(SIGCONT);
    EXPECT_TRUE(within(10s, [&] { return are_up() && reaches(); })) << ground->program().output();
    std::vector<std::string> reasons;
    for (const json& event : ground->events("dropping"))
        reasons.push_back(event["reason"]);
    EXPECT_LE(reasons.size(), 4u) << "a line for each kind, not for each record";
}

// What a router that stood still has in its hands when it goes on is old: none of it may reach the aircraft.
TEST_F(LinkOfTwo, ARouterThatStoodStillDeliversNothingOld)
{
    start_both();
    meet();
    aircraft->program().signal(SIGSTOP);
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(send(*station, HOST_FLIGHT_SERVICE), 0);
    EXPECT_TRUE(within(4s, [&] { return !ground->is_up(); }));
    aircraft->program().signal(SIGCONT);
    EXPECT_TRUE(within(10s, [&] { return are_up() && aircraft->events("link_up").size() == 2; }));
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(received, 0);
    EXPECT_EQ(send(*station, HOST_FLIGHT_SERVICE), 0);
    EXPECT_TRUE(within(2s, [&] { return received == 1; }));
}

// A receiver that never reads, and two that are not there.
TEST_F(LinkOfTwo, WhatTheReceivingBusDoesNotTakeIsCountedByReason)
{
    ground->config["links"]["a7"]["addresses"]["0x0306"] = "0x0306";
    start_both();
    meet();
    kest_event_client_t never_reads = open_client(*aircraft, "flight_service", "flight_nfz_upgrade");
    const bytes_t big(1000);
    for (int i = 0; i < 1000; ++i)
        EXPECT_TRUE(within(2s, [&] { return send(*station, HOST_NFZ_UPGRADE, big) == 0; }));
    EXPECT_TRUE(within(5s, [&] { return aircraft->count("receiver_full") > 100; }));
    EXPECT_TRUE(within(10s, [this] { return reaches(); }));  // the link has room again
    EXPECT_EQ(send(*station, HOST_FLIGHT_CONTROLLER), 0);
    EXPECT_TRUE(within(2s, [&] { return aircraft->count("receiver_absent") == 1; }));
    auto desk = ground->endpoint("factory", "desk");
    desk->start();
    EXPECT_EQ(send(*desk, HOST_FLIGHT_SERVICE), 0);
    EXPECT_TRUE(within(2s, [&] { return aircraft->count("unknown_sender") == 1; }));
    EXPECT_TRUE(within(2s, [&] { return aircraft->events("dropping").size() == 3; })) << aircraft->program().output();
    const json said = aircraft->events("dropping");
    const auto stranger =
        std::find_if(said.begin(), said.end(), [](const json& event) { return event["reason"] == "unknown_sender"; });
    EXPECT_EQ(stranger->value("address", ""), "0x1104") << "it says whom it does not know";
    EXPECT_TRUE(reaches());
    tarn_client_close(never_reads);
}

TEST_F(LinkOfTwo, AnAddressThatAnotherProcessHasIsLeftToItUntilItEnds)
{
    auto other = ground->endpoint("flight_service", "flight_srv_fmu");
    answer(*other);
    ground->start();
    aircraft->start();
    ASSERT_TRUE(within(5s, [&] { return are_up() && !ground->events("address_refused").empty(); }));
    EXPECT_TRUE(within(2s, [&] { return ground->has(HOST_NFZ_UPGRADE); })) << "the other address is not affected";
    meet();
    EXPECT_TRUE(reaches()) << "the process that was there first";
    other.reset();
    EXPECT_TRUE(within(5s, [&] { return !ground->events("address_free").empty(); })) << ground->program().output();
    EXPECT_TRUE(reaches()) << "now the aircraft answers";
    EXPECT_EQ(ground->events("address_refused").size(), 1u);
}

// Two aircraft with the same addresses, both on the ground's one bus, by other numbers there.
TEST_F(LinkOfTwo, OneBusHoldsTwoAircraftByOtherNumbers)
{
    json routes = json::parse(std::ifstream(ground->routes()));
    routes["services"]["a7"] = {{"flight", {{"host", "0x1705"}}}};
    routes["services"]["a8"] = {{"flight", {{"host", "0x1805"}}}};
    std::ofstream(ground->routes()) << routes;
    RouterEnd second("a8", "ground", "/run/a8", {});
    json& links = ground->config["links"];
    links["a8"] = links["a7"];
    links["a7"]["addresses"] = {{"0x1105", "0x1705"}};
    links["a8"]["addresses"] = {{"0x1105", "0x1805"}};
    links["a8"]["peer_key"] = second.public_key();
    second.config = aircraft->config;
    second.config["key"] = second.key_file();
    second.config["links"]["ground"]["routes"] = second.routes();
    ground->config["bind"] = "ipc:///tmp/port";  // all three on one network
    aircraft->config["links"]["ground"]["connect"] = second.config["links"]["ground"]["connect"] = "ipc:///tmp/port";
    ground->start();
    aircraft->start();
    second.start();
    ASSERT_TRUE(within(5s, [&] { return ground->has(0x1705) && ground->has(0x1805) && second.is_up(); }));
    meet();
    auto other = second.endpoint("flight_service", "flight_srv_fmu");
    other->on_request(0x20, 0x05, [&](const kest_event_t& request) { other->reply(request, bytes_t{8}); });
    other->start();
    EXPECT_EQ(ask(*station, 0x1705, {1, 2}), (bytes_t{2, 1}));
    EXPECT_EQ(ask(*station, 0x1805, {1, 2}), (bytes_t{8}));
    second.program().kill();
    EXPECT_TRUE(within(3s, [&] { return !ground->has(0x1805); }));
    EXPECT_EQ(ask(*station, 0x1705, {1, 2}), (bytes_t{2, 1})) << "one aircraft does not miss the other";
}
