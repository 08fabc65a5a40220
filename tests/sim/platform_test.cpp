// The virtual clock itself: what the seed may change, and what it may not.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kest_event.h"
#include "kest_mb.h"
#include "kest_osal.h"
#include "platform/platform.h"
#include "soak/shrink.h"
#include "tarn_host.h"

using testing::ElementsAre;
using testing::IsSupersetOf;

// An endpoint that remembers what comes, and may do something when it does.
class Endpoint {
public:
    explicit Endpoint(const char* name)
    {
        kest_mb_route_table_t routes = {};
        uint16_t host = 0;
        EXPECT_EQ(kest_mb_create_route_table("", "", name, &host, &routes), 0);
        const kest_event_cmd_desc_t* tables[KEST_EVENT_SETS] = {&descriptor_};
        uint32_t counts[KEST_EVENT_SETS] = {1};
        EXPECT_EQ(kest_event_create_client(&routes, host, tables, counts, this, &client), 0);
    }

    kest_result_t sends(uint16_t to, uint16_t number, uint16_t attrib = 0)
    {
        kest_event_t event = {};
        event.peer_host = to;
        event.attrib = attrib;
        event.seq_id = number;
        return kest_event_send(client, &event);
    }

    kest_result_t asks(uint16_t to, uint32_t timeout_us)
    {
        kest_event_t event = {};
        kest_event_t reply = {};
        uint32_t size = sizeof reply;
        event.peer_host = to;
        event.attrib = 0x40;
        return kest_event_send_sync(client, &event, timeout_us, &reply, &size);
    }

    kest_event_client_t client = nullptr;
    std::vector<uint16_t> numbers;
    std::function<void(const kest_event_t&)> answers;

private:
    static kest_result_t hears(kest_event_client_t, const kest_event_t* event, void* self)
    {
        auto& endpoint = *static_cast<Endpoint*>(self);
        endpoint.numbers.push_back(event->seq_id);
        if (endpoint.answers) endpoint.answers(*event);
        return 0;
    }

    static constexpr kest_event_cmd_desc_t descriptor_ = {&Endpoint::hears, &Endpoint::hears, 0};
};

TEST(VirtualClock, RecordsOfOneConnectionKeepTheirOrderAndOthersDoNot)
{
    bool other_order = false;
    for (uint64_t seed = 1; seed <= 20; ++seed) {
        sim::Platform platform({.seed = seed});
        Endpoint phone("phone"), station("station"), fmu("fmu");
        for (uint16_t i = 0; i < 10; ++i) {
            EXPECT_EQ(phone.sends(0x0306, i), 0);
            EXPECT_EQ(station.sends(0x0306, static_cast<uint16_t>(100 + i)), 0);
        }
        platform.run_until(1000);
        EXPECT_TRUE(fmu.numbers.empty()) << "not started";
        kest_event_start_client(fmu.client);
        ASSERT_EQ(fmu.numbers.size(), 20u);
        std::vector<uint16_t> of_phone;
        for (const uint16_t number : fmu.numbers)
            if (number < 100) of_phone.push_back(number);
        EXPECT_THAT(of_phone, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9));
        other_order = other_order || fmu.numbers[0] >= 100;
    }
    EXPECT_TRUE(other_order) << "the seeds decide who comes first";
}

TEST(VirtualClock, ReceiversThatAreNotThereOrDoNotKeepUp)
{
    sim::Platform platform({});
    Endpoint phone("phone");
    EXPECT_EQ(phone.sends(0x0306, 0), -ECONNREFUSED);
    EXPECT_EQ(phone.sends(0x7777, 0), -EHOSTUNREACH);
    auto fmu = std::make_unique<Endpoint>("fmu");
    int taken = 0;
    while (phone.sends(0x0306, 0) == 0)
        ++taken;
    EXPECT_EQ(phone.sends(0x0306, 0), -EAGAIN);
    EXPECT_GT(taken, 50);
    tarn_client_close(fmu->client);
    platform.run_until(10'000);
    EXPECT_TRUE(fmu->numbers.empty()) << "what was on its way went with the receiver";
    Endpoint again("fmu");
    EXPECT_EQ(phone.sends(0x0306, 1), 0);
}

// Whoever waits for an answer does not stop the others.
TEST(VirtualClock, WaitingLetsOtherThingsHappen)
{
    sim::Platform platform({});
    Endpoint phone("phone"), fmu("fmu");
    kest_event_start_client(phone.client);
    kest_event_start_client(fmu.client);
    EXPECT_EQ(phone.asks(0x0306, 5000), -ETIMEDOUT);
    EXPECT_EQ(platform.schedule().now_us(), 5000u);
    fmu.answers = [&](const kest_event_t& request) { kest_event_resp_data(fmu.client, &request, "x", 1); };
    int ticks = 0;
    const kest_osal_timer_attrib_t attrib = {"tick", [](void* count) { ++*static_cast<int*>(count); }, &ticks, 10, 0,
                                             0};
    void* timer = nullptr;
    EXPECT_EQ(kest_osal_timer_create(&attrib, &timer), 0);
    EXPECT_EQ(phone.asks(0x0306, 5000), 0);
    EXPECT_LT(platform.schedule().now_us(), 6000u);
    EXPECT_GT(ticks, 0);
    // On its own task it could never be answered.
    kest_result_t on_own_task = 0;
    fmu.answers = [&](const kest_event_t&) { on_own_task = fmu.asks(0x0200, 1000); };
    phone.sends(0x0306, 1);
    platform.run_until(platform.schedule().now_us() + 1000);
    EXPECT_EQ(on_own_task, -EDEADLK);
}

TEST(VirtualClock, TimersKeepTheirScheduleHoweverLateTheyTick)
{
    sim::Platform platform({.seed = 3, .tick_late_most_us = 900});
    std::vector<uint64_t> times;
    const kest_osal_timer_attrib_t attrib = {
        "tick",
        [](void* list) {
            static_cast<std::vector<uint64_t>*>(list)->push_back(sim::Platform::now().schedule().now_us());
        },
        &times,
        1000,
        0,
        0};
    void* timer = nullptr;
    platform.as(sim::SERVICE, [&] { kest_osal_timer_create(&attrib, &timer); });
    platform.run_until(1'000'999);
    ASSERT_EQ(times.size(), 1000u);
    for (size_t i = 0; i < times.size(); ++i)
        EXPECT_LE(times[i] - (i + 1) * 1000, 900u);
    platform.end(sim::SERVICE);
    platform.run_until(2'000'000);
    EXPECT_EQ(times.size(), 1000u) << "its party is gone";
}

TEST(Shrinking, LeavesTheFewestThatFail)
{
    std::vector<size_t> all(24);
    for (size_t i = 0; i < all.size(); ++i)
        all[i] = i;
    unsigned runs = 0;
    const auto fails = [&](const std::vector<size_t>& some) {
        ++runs;
        return testing::Matches(IsSupersetOf({5u, 17u}))(some);
    };
    EXPECT_THAT(sim::fewest_that_fail(all, fails), ElementsAre(5, 17));
    EXPECT_LT(runs, 60u);
    EXPECT_THAT(sim::fewest_that_fail(all, [](const auto&) { return true; }), ElementsAre());
}
