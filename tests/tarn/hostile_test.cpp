// Peers that break the rules.
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "bus_fixture.h"

using testing::AllOf;
using testing::Ge;
using testing::HasSubstr;
using testing::Le;

namespace {

// A bystander has its connection since before, and is served afterwards.
class Hostile : public TwoEnds {
protected:
    Hostile() : TwoEnds(R"(, "allow": {"0x0200": {"uid": [7, )" + std::to_string(::getuid()) + "]}}") { meet(); }
    void TearDown() override
    {
        EXPECT_EQ(app.send(record(SERVICE, message(0, 1))), 0);
        EXPECT_EQ(service.take().peer_host, APP);
        EXPECT_EQ(service.waiting(), 0u);
        EXPECT_EQ(app.counter(TARN_CONNECTS_OUT), 1u);
    }

    const captured_stderr console;
};

TEST_F(Hostile, RecordsOfAnyLengthAreTakenOrCloseTheirConnection)
{
    for (uint32_t size = 0; size <= 1100; ++size) {
        for (const uint32_t lie : {0u, 1u, 0x80000000u, 0xffffffffu}) {  // about the length, added to it
            kest_event_t event = record(SERVICE, message(0, 1));
            event.msg_len = size - std::min<uint32_t>(size, KEST_EVENT_HEAD_SIZE) + lie;
            uint8_t bytes[1100] = {};
            std::memcpy(bytes, &event, KEST_EVENT_HEAD_SIZE);
            const RawPeer peer(on.socket_of(SERVICE), APP);
            ASSERT_TRUE(peer.sends(bytes, size));
            if (lie == 0 && size >= KEST_EVENT_HEAD_SIZE && size <= KEST_EVENT_SIZE)
                ASSERT_EQ(service.take().msg_len, event.msg_len);
            else
                ASSERT_TRUE(peer.is_closed()) << size << " and " << lie;
        }
    }
    EXPECT_EQ(service.counter(TARN_CLOSED_SHORT), 4 * 16u);
    EXPECT_EQ(service.counter(TARN_CLOSED_LONG), 4 * 76u);
    EXPECT_EQ(service.counter(TARN_CLOSED_LENGTH), 3 * 1009u);
    EXPECT_THAT(console.text(), HasSubstr("0x1105 closed a connection of 0x0200 (user " + std::to_string(::getuid()) +
                                          "): a record of less than 16 bytes"));
}

TEST_F(Hostile, AnythingButAHelloFirstClosesTheConnection)
{
    const std::string hellos[] = {"",
                                  "T",
                                  std::string("T\1\0", 3),
                                  std::string("T\1\0\2\0", 5),
                                  std::string("T\2\0\2", 4),
                                  std::string("U\1\0\2", 4),
                                  std::string(1024, 'T'),
                                  std::string(1100, 'T')};
    for (int round = 0; round < 5; ++round) {
        for (const std::string& hello : hellos) {
            const RawPeer peer(on.socket_of(SERVICE));
            ASSERT_TRUE(peer.sends(hello.data(), hello.size()));
            ASSERT_TRUE(peer.is_closed()) << hello.size();
        }
    }
    EXPECT_EQ(service.counter(TARN_CLOSED_BAD_HELLO), 5 * std::size(hellos));
    EXPECT_THAT(console.lines(), AllOf(Ge(5), Le(10))) << "five a second: a flood must not fill the console";
}

}  // namespace
