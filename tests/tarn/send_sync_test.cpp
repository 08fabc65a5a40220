// Sends that wait for their reply.
#include <atomic>

#include "bus_fixture.h"

namespace {

kest_result_t send_sync(const endpoint& from, const kest_event_t& request, uint32_t timeout_us, kest_event_t& reply,
                        uint32_t room = KEST_EVENT_SIZE)
{
    uint32_t size = room;
    const kest_result_t result = kest_event_send_sync(from.get(), &request, timeout_us, &reply, &size);
    EXPECT_EQ(size, result == 0 ? KEST_EVENT_HEAD_SIZE + reply.msg_len : room);
    return result;
}

void echo(kest_event_client_t client, const kest_event_t& request)
{
    kest_event_resp_data_without_retcode(client, &request, request.msg_buf, request.msg_len);
}

using SendSync = TwoEnds;

TEST_F(SendSync, GetsItsOwnReplyAmongManyAtOnce)
{
    service.serve(echo);
    std::atomic<int> right = 0;
    in_threads(4, [&](uint16_t thread) {
        for (uint16_t i = 0; i < 100; ++i) {
            kest_event_t reply{};
            const auto seq = static_cast<uint16_t>(thread * 100 + i);
            const kest_event_t request = record(SERVICE, message(0, 1), 1 + seq, static_cast<uint8_t>(seq), seq);
            right += send_sync(app, request, 5'000'000, reply) == 0 && reply.peer_host == SERVICE &&
                     reply.seq_id == seq && reply.msg_len == 1u + seq && reply.msg_buf[seq] == request.msg_buf[seq];
        }
    });
    EXPECT_EQ(right, 400);
    EXPECT_EQ(app.waiting(), 0u) << "an awaited reply goes no further";
    EXPECT_EQ(app.counter(TARN_RECEIVED), 400u);
}

TEST_F(SendSync, TimesOutAndTheLateReplyGoesToTheCallback)
{
    kest_event_t reply{};
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(send_sync(app, record(SERVICE, message(0, 1)), 20'000, reply), -ETIMEDOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 20ms);
    const kest_event_t request = service.take();
    kest_event_resp_data(service.get(), &request, "late", 4);
    EXPECT_EQ(app.take().msg_len, 5u);
}

TEST_F(SendSync, OnlyTheMatchingReplyWakes)
{
    endpoint other(on, CONTROLLER);
    service.serve([&other](kest_event_client_t client, const kest_event_t& request) {
        kest_event_t wrong = request;
        wrong.attrib = NEED_ACK;  // the same numbers, but a request
        kest_event_send(client, &wrong);
        wrong.attrib = REPLY;
        ++wrong.seq_id;
        kest_event_send(client, &wrong);
        wrong.seq_id = request.seq_id;
        ++wrong.msg_id;
        kest_event_send(client, &wrong);
        kest_event_resp_data(other.get(), &request, nullptr, 0);  // from another peer
    });
    kest_event_t reply{};
    EXPECT_EQ(send_sync(app, record(SERVICE, message(0, 1)), 100'000, reply), -ETIMEDOUT);
    for (int i = 0; i < 4; ++i)
        app.take();
}

TEST_F(SendSync, RefusesWhatCannotEnd)
{
    std::atomic<int> on_own_task = 0;
    service.serve([&](kest_event_client_t client, const kest_event_t& request) {
        kest_event_t reply;
        uint32_t size = sizeof reply;
        on_own_task = kest_event_send_sync(client, &request, 1000, &reply, &size);
        echo(client, request);
    });
    kest_event_t reply = record(0, 0x77777777);
    EXPECT_EQ(send_sync(app, record(CONTROLLER, message(0, 1)), 1'000'000, reply), -ENOENT);
    EXPECT_EQ(send_sync(app, record(SERVICE, message(0, 1), 8), 5'000'000, reply, 23), -EMSGSIZE);
    EXPECT_EQ(reply.msg_id, 0x77777777u) << "nothing may be written";
    EXPECT_EQ(send_sync(app, record(SERVICE, message(0, 1), 8), 5'000'000, reply, 24), 0);
    EXPECT_EQ(on_own_task, -EDEADLK);
    EXPECT_EQ(kest_event_send_sync(app.get(), &reply, 1, nullptr, nullptr), -EINVAL);
}

}  // namespace
