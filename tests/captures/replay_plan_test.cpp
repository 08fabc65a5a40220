// Which requests of a capture are sent again, and which answers they are held against.
#include <gmock/gmock.h>

#include "bus_replay_plan.h"
#include "flight_v1_wire.h"

namespace {

constexpr uint16_t APP = HOST_APP;
constexpr uint16_t SERVICE = HOST_NFZ_UPGRADE;

class ReplayPlan : public testing::Test {
protected:
    void asks(uint16_t seq, uint8_t content = 0)
    {
        for (const uint8_t direction : {uint8_t{0}, uint8_t{1}})
            copy(APP, SERVICE, seq, ATTRIB_SEND_SYNC, content, direction);
    }
    void answers(uint16_t seq, uint8_t content)
    {
        for (const uint8_t direction : {uint8_t{1}, uint8_t{0}})
            copy(SERVICE, APP, seq, ATTRIB_REPLY, content, direction);
    }

    void copy(uint16_t from, uint16_t to, uint16_t seq, uint16_t attrib, uint8_t content, uint8_t direction)
    {
        cli::captured_t one = {{{now_us_ += 10, from, to, direction, {}}, {}}, 0, capture.records.size()};
        one.record.event = {0x00000009, direction == 0 ? to : from, attrib, seq, 0, 1, {content}};
        capture.records.push_back(one);
    }

    cli::loaded_capture_t capture;
    uint64_t now_us_ = 1000;
};

TEST_F(ReplayPlan, SendsEachRequestOnceAndKnowsItsAnswer)
{
    copy(HOST_FLIGHT_CONTROLLER, SERVICE, 1, ATTRIB_SEND_SYNC, 9, 0);
    asks(1, 10);
    answers(1, 20);
    copy(APP, SERVICE, 2, ATTRIB_SEND, 11, 1);  // its other copy was lost, and nobody wants an answer
    asks(3, 12);
    const auto steps = cli::plan_replay(capture, APP);
    ASSERT_EQ(steps.size(), 3u);
    EXPECT_EQ(steps[0].request.peer_host, SERVICE);
    EXPECT_EQ(steps[0].recorded.value().msg_buf[0], 20);
    EXPECT_EQ(steps[1].at_us, 40u) << "after the first request";
    EXPECT_EQ(steps[1].request.msg_buf[0], 11);
    EXPECT_FALSE(steps[1].wants_answer);
    EXPECT_EQ(steps[2].recorded, std::nullopt);
    EXPECT_EQ(cli::senders_in(capture), (std::map<uint16_t, size_t>{{APP, 3}, {HOST_FLIGHT_CONTROLLER, 1}}));
}

// A number comes again when the request is repeated, or after 65536 others.
TEST_F(ReplayPlan, GivesAnswersToTheOldestRequestOfTheirNumber)
{
    asks(7);
    asks(7);
    answers(7, 1);
    answers(7, 2);
    answers(7, 3);
    asks(7);
    answers(7, 4);
    const auto steps = cli::plan_replay(capture, APP);
    ASSERT_EQ(steps.size(), 3u);
    for (size_t i = 0; i < 3; i++)
        EXPECT_EQ(steps[i].recorded.value().msg_buf[0], (std::vector<uint8_t>{1, 2, 4}[i]));
}

TEST_F(ReplayPlan, FollowsTheTimesNotTheOrderOfTheCopies)
{
    asks(1, 1);
    asks(2, 2);
    std::swap(capture.records[0], capture.records[2]);
    std::swap(capture.records[1], capture.records[3]);
    const auto steps = cli::plan_replay(capture, APP);
    EXPECT_EQ(steps[0].request.msg_buf[0], 1);
    EXPECT_EQ(steps[1].at_us, 20u);
}

TEST(SameAnswer, IsTheSameByteForByte)
{
    const kest_event_t one = {9, SERVICE, ATTRIB_REPLY, 1, 0, 2, {1, 2}};
    kest_event_t other = one;
    EXPECT_TRUE(cli::same_answer(one, other));
    other.msg_buf[1] = 3;
    EXPECT_FALSE(cli::same_answer(one, other));
    other = one;
    other.msg_len = 3;
    EXPECT_FALSE(cli::same_answer(one, other)) << "a zero more";
    other = one;
    other.attrib = ATTRIB_REPLY | 1;
    EXPECT_FALSE(cli::same_answer(one, other));
}

}  // namespace
