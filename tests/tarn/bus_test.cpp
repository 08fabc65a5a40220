// The way of records between endpoints.
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <list>
#include <thread>

#include "bus_fixture.h"

using testing::HasSubstr;

namespace {

std::string payload(const kest_event_t& event)
{
    return {reinterpret_cast<const char*>(event.msg_buf), event.msg_len};
}

bool is_zero_behind_payload(const kest_event_t& event)
{
    return std::all_of(event.msg_buf + event.msg_len, std::end(event.msg_buf), [](uint8_t byte) { return byte == 0; });
}

bool sends(const RawPeer& peer, uint32_t msg_id)
{
    const kest_event_t event = record(SERVICE, msg_id);
    return peer.sends(&event, KEST_EVENT_HEAD_SIZE);
}

using Exchange = TwoEnds;
using Dispatch = TwoEnds;
using Receiving = TwoEnds;

TEST_F(Exchange, RepliesComeBackInBothForms)
{
    service.serve([](kest_event_client_t client, const kest_event_t& request) {
        const bool plain = (request.msg_id & 0xffff) == 1;
        const auto reply = plain ? kest_event_resp_data_without_retcode : kest_event_resp_data;
        EXPECT_EQ(reply(client, &request, "answer", 6), 0);
    });
    ASSERT_EQ(app.send(record(SERVICE, message(2, 1), 1008, 0x5c, 7, 0x0165)), 0);
    const kest_event_t request = service.take();
    EXPECT_EQ(request.peer_host, APP);
    EXPECT_EQ(request.seq_id, 7);
    EXPECT_EQ(request.attrib, 0x0165);
    EXPECT_EQ(payload(request), std::string(1008, 0x5c));

    const kest_event_t plain = app.take();
    EXPECT_EQ(plain.peer_host, SERVICE);
    EXPECT_EQ(plain.msg_id, message(2, 1));
    EXPECT_EQ(plain.seq_id, 7);
    EXPECT_EQ(plain.attrib, 0x0185) << "reply bit on, need-ack bits off, the others as in the request";
    EXPECT_EQ(payload(plain), "answer");
    EXPECT_TRUE(is_zero_behind_payload(plain));

    ASSERT_EQ(app.send(record(SERVICE, message(2, 2))), 0);
    EXPECT_TRUE(is_zero_behind_payload(service.take())) << "the long request before must not shine through";
    EXPECT_EQ(payload(app.take()), std::string("\0answer", 7));
}

TEST_F(Dispatch, RecordsThatNobodyHandlesAreDroppedAndCounted)
{
    const uint32_t no_set[] = {message(79, 1), message(0xffff, 1), message(300, 0)};
    const uint32_t no_id[] = {message(4, 1),   message(78, 1),     message(3, 10),
                              message(0, 255), message(0, 0xffff), message(1, 9)};
    for (const uint32_t id : no_set)
        app.send(record(SERVICE, id));
    for (const uint32_t id : no_id)
        app.send(record(SERVICE, id));
    app.send(record(SERVICE, message(1, 9), 0, 0, 1, REPLY));
    app.send(record(SERVICE, message(3, 8), 4));
    EXPECT_EQ(service.take().msg_id, message(3, 8));
    EXPECT_EQ(service.waiting(), 0u);
    EXPECT_EQ(service.counter(TARN_DROPPED_SET), 3u);
    EXPECT_EQ(service.counter(TARN_DROPPED_ID), 7u);
    EXPECT_EQ(service.counter(TARN_RECEIVED), 1u);
    EXPECT_EQ(app.counter(TARN_SENT), 11u);
}

TEST(Sending, TellsWhyItCannot)
{
    const bus on;
    endpoint app(on, APP);
    EXPECT_EQ(app.send(record(STRANGER, message(0, 1))), -EHOSTUNREACH);
    EXPECT_EQ(app.send(record(SERVICE, message(0, 1))), -ENOENT);
    std::ofstream(on.socket_of(CONTROLLER)) << "";
    EXPECT_EQ(app.send(record(CONTROLLER, message(0, 1))), -ECONNREFUSED);
    const kest_event_t too_long = record(SERVICE, message(0, 1), 1009);
    EXPECT_EQ(app.send(too_long), -EINVAL);
    EXPECT_EQ(kest_event_resp_data(app.get(), &too_long, too_long.msg_buf, 1008), -EINVAL);
    EXPECT_EQ(kest_event_resp_data_without_retcode(app.get(), &too_long, too_long.msg_buf, 1009), -EINVAL);
    EXPECT_EQ(app.counter(TARN_SEND_NO_ROUTE), 1u);
    EXPECT_EQ(app.counter(TARN_SEND_PEER_ABSENT), 2u);
    EXPECT_EQ(app.counter(TARN_SEND_FAILED), 3u);
}

TEST(Sending, NeverWaitsAndWhatWasTakenArrivesInOrder)
{
    const bus on;
    endpoint service(on, SERVICE, false);
    endpoint app(on, APP);
    uint16_t taken = 0;
    while (app.send(record(SERVICE, message(0, 1), 1008, 1, taken)) == 0)
        ASSERT_LT(++taken, 10000);
    EXPECT_EQ(app.send(record(SERVICE, message(0, 1))), -EAGAIN);
    EXPECT_EQ(app.counter(TARN_SEND_QUEUE_FULL), 2u);
    EXPECT_GT(taken, 10);
    ASSERT_EQ(service.start(), 0);
    EXPECT_EQ(service.start(), -EALREADY);
    for (uint16_t i = 0; i < taken; ++i)
        ASSERT_EQ(service.take().seq_id, i);
    EXPECT_EQ(app.send(record(SERVICE, message(0, 1))), 0);
}

TEST(Sending, FindsAPeerThatWasRestartedWithinTheCall)
{
    const bus on;
    endpoint app(on, APP);
    for (uint32_t life = 0; life < 3; ++life) {
        endpoint service(on, SERVICE);
        ASSERT_EQ(app.send(record(SERVICE, message(0, life))), 0);
        EXPECT_EQ(service.take().msg_id, message(0, life));
    }
    EXPECT_EQ(app.send(record(SERVICE, message(0, 1))), -ENOENT);
    EXPECT_EQ(app.counter(TARN_CONNECTS_OUT), 3u);
}

TEST(Flood, DoesNotHoldBackTheOthers)
{
    const bus on;
    endpoint service(on, SERVICE, false);
    const RawPeer flooder(on.socket_of(SERVICE), CONTROLLER);
    for (int i = 0; i < 90; ++i)
        ASSERT_TRUE(sends(flooder, message(0, 1)));
    endpoint app(on, APP);
    constexpr int QUIET = 12;
    for (int i = 0; i < QUIET; ++i)
        app.send(record(SERVICE, message(0, 2)));
    service.start();
    int of_flood = 0;
    for (int of_app = 0; of_app < QUIET;)
        ++(service.take().peer_host == APP ? of_app : of_flood);
    EXPECT_LE(of_flood, 60) << "eight at most before each record of the other";
}

TEST_F(Receiving, StrangersThatSayNothingMakeRoomForOthers)
{
    meet();
    const captured_stderr console;
    std::list<RawPeer> strangers;
    for (int i = 0; i < 300; ++i)
        strangers.emplace_back(on.socket_of(SERVICE));
    const RawPeer late(on.socket_of(SERVICE), CONTROLLER);
    sends(late, message(0, 2));
    EXPECT_EQ(service.take().peer_host, CONTROLLER);
    EXPECT_EQ(app.send(record(SERVICE, message(0, 3))), 0);
    EXPECT_EQ(service.take().peer_host, APP);
    EXPECT_EQ(app.counter(TARN_CONNECTS_OUT), 1u) << "a peer that has said hello keeps its place";
}

TEST_F(Receiving, WithoutDescriptorsOthersAreServedAndNothingSpins)
{
    meet();
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const int next = ::dup(STDERR_FILENO);
    ::close(next);
    const rlimit tight{static_cast<rlim_t>(next) + 1, before.rlim_max};  // room for the peer's own end only
    ::setrlimit(RLIMIT_NOFILE, &tight);
    const RawPeer waiting(on.socket_of(SERVICE), CONTROLLER);
    sends(waiting, message(0, 2));
    const std::clock_t cpu = std::clock();
    std::this_thread::sleep_for(300ms);
    EXPECT_LT(std::clock() - cpu, CLOCKS_PER_SEC / 10);
    app.send(record(SERVICE, message(0, 3)));
    EXPECT_EQ(service.take().peer_host, APP);
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(service.take().peer_host, CONTROLLER);
}

TEST(Address, OfALiveOneIsRefusedOfADeadOneTakenAndAFileIsKept)
{
    const bus on;
    const captured_stderr console;
    {
        endpoint service(on, SERVICE);
        endpoint app(on, APP);
        EXPECT_EQ(endpoint(on, SERVICE).created(), -EADDRINUSE);
        EXPECT_THAT(console.text(), HasSubstr("1105.sock: a living process has this bus address"));
        app.send(record(SERVICE, message(0, 1)));
        EXPECT_EQ(service.take().peer_host, APP) << "stays as it was";
    }
    const std::string path = on.socket_of(SERVICE);
    const sockaddr_un address = address_of(path);
    const int dead = ::socket(AF_UNIX, SOCK_SEQPACKET, 0);
    ASSERT_EQ(::bind(dead, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::close(dead);
    EXPECT_EQ(endpoint(on, SERVICE).created(), 0);
    EXPECT_NE(::access(path.c_str(), F_OK), 0) << "closing takes the file away";
    std::ofstream(path) << "precious";
    EXPECT_EQ(endpoint(on, SERVICE).created(), -EADDRINUSE);
    EXPECT_EQ(text_of(path), "precious");
}

}  // namespace
