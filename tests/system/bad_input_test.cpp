// Whatever a peer sends: the refusal that the protocol defines or silence, state as it was, everybody else served.
#include <sys/wait.h>
#include <unistd.h>

#include <random>

#include "raw_peer.h"
#include "stage.h"

class BadInput : public Stage {
protected:
    BadInput() { starts_service(); }

    uint64_t counter(uint16_t host, uint32_t which)
    {
        char path[40];
        std::snprintf(path, sizeof path, "/run/tarn/%04x.stats", host);
        return record_of<tarn_stats_file_t>(file_bytes(path)).value[which];
    }
};

// Every handler, every payload length, random bytes: a reply of the right length, and the service goes on. Requests
// that empty the database are part of it.
TEST_F(BadInput, EveryHandlerTakesEveryPayloadLength)
{
    struct {
        uint16_t host;
        uint8_t set, id;
        size_t reply;
    } const handlers[] = {
        {HOST_FLIGHT_SERVICE, 0x00, 0x01, 61}, {HOST_FLIGHT_SERVICE, 0x03, 0xc1, 0},
        {HOST_FLIGHT_SERVICE, 0x03, 0xcd, 18}, {HOST_NFZ_UPGRADE, 0x00, 0x01, 30},
        {HOST_NFZ_UPGRADE, 0x00, 0x07, 3},     {HOST_NFZ_UPGRADE, 0x00, 0x08, 71},
        {HOST_NFZ_UPGRADE, 0x00, 0x09, 5},     {HOST_NFZ_UPGRADE, 0x00, 0x0b, 1},
        {HOST_NFZ_UPGRADE, 0x00, 0x0c, 6},     {HOST_NFZ_UPGRADE, 0x1f, 0x11, 275},
        {HOST_NFZ_UPGRADE, 0x03, 0xea, 0},
    };
    Hand hand;
    std::mt19937 random(20261124);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same payloads in every run
    for (const auto& handler : handlers) {
        for (size_t length = 0; length <= KEST_EVENT_MAX_PAYLOAD; length += length < 300 ? 1 : 59) {
            bytes_t payload(length);
            for (uint8_t& byte : payload)
                byte = static_cast<uint8_t>(random());
            SCOPED_TRACE(testing::Message()
                         << std::hex << int{handler.set} << "/" << int{handler.id} << std::dec << " " << length);
            if (handler.reply == 0) {
                // No reply sets the pace here: a full queue is waited out.
                ASSERT_TRUE(within(
                    2s, [&] { return hand.endpoint().send(handler.host, handler.set, handler.id, payload) == 0; }));
                continue;
            }
            const bytes_t reply = hand.ask(handler.host, handler.set, handler.id, payload);
            const bool range = handler.id == 0x11 && !reply.empty() && reply[0] == PROFILE_RET_OK;
            if (!range) {
                ASSERT_EQ(reply.size(), handler.reply);
            }
        }
    }
    EXPECT_TRUE(service.runs());
    expect_next_upgrade_works(hand, 1);
}

TEST_F(BadInput, UnknownCommandsAreRefusedOnlyWhenAReplyIsWanted)
{
    Hand hand;
    EXPECT_EQ(hand.ask(HOST_FLIGHT_SERVICE, 0x22, 0x33, {1, 2}), bytes_t{REPLY_UNKNOWN_COMMAND});
    EXPECT_EQ(hand.ask(HOST_NFZ_UPGRADE, 78, 254, {}), bytes_t{REPLY_UNKNOWN_COMMAND});
    EXPECT_EQ(hand.endpoint().send(HOST_NFZ_UPGRADE, 78, 254, {}), 0);
    EXPECT_EQ(hand.ask(HOST_NFZ_UPGRADE, 79, 1, {}, 300ms), bytes_t{});
    EXPECT_EQ(hand.ask(HOST_NFZ_UPGRADE, 0, 255, {}, 300ms), bytes_t{});
    const auto is_reply = [](const seen_t& seen) {
        return seen.head.direction == 0 && seen.head.from == HOST_NFZ_UPGRADE && seen.set >= 78;
    };
    EXPECT_TRUE(within(1s, [&] { return tap->all(is_reply).size() == 1; })) << "only the one that was asked for";
    EXPECT_EQ(counter(HOST_NFZ_UPGRADE, TARN_DROPPED_SET), 1u);
    EXPECT_EQ(counter(HOST_NFZ_UPGRADE, TARN_DROPPED_ID), 1u);
}

// One who floods with garbage must not keep an upgrade from going through.
TEST_F(BadInput, FloodDoesNotStarveTheApp)
{
    Hand app;
    const pid_t flooder = fork();
    if (flooder == 0) {
        RawPeer peer(HOST_NFZ_UPGRADE);
        peer.hello(0x1103);
        const bytes_t request(16);  // set 0, id 0: nobody's
        for (int i = 0; i < 300'000; ++i)
            peer.sends(request);
        _exit(0);
    }
    expect_next_upgrade_works(app, 1);
    kill(flooder, SIGKILL);
    waitpid(flooder, nullptr, 0);
    EXPECT_TRUE(service.runs());
}

// Peers come and go: nothing piles up.
TEST_F(BadInput, PeersThatComeAndGoLeaveNothingBehind)
{
    const size_t descriptors = service.descriptors();
    const size_t threads = service.threads();
    for (int i = 0; i < 300; ++i) {
        RawPeer peer(i % 2 == 0 ? HOST_NFZ_UPGRADE : HOST_FLIGHT_SERVICE);
        if (i % 3 != 0) peer.hello(0x0200);
    }
    EXPECT_TRUE(within(3s, [&] { return service.descriptors() <= descriptors; }));
    EXPECT_EQ(service.threads(), threads);
}
