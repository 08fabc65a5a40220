#include "app/upgrade_sender.h"

#include "nfz_file/nfz_file.h"
#include "peer_fixture.h"

namespace {

using peers::upgrade_outcome;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr uint32_t BLOCKS = 5;

class Upgrade : public testing::Test {
protected:
    Upgrade()
    {
        peers::bus_open_error_t error;
        app = peers::AppPeer::open(bus.name("app", "phone"), {}, error);
        options.reply_timeout_us = 100'000;
        options.tries = 3;
    }
    peers::upgrade_result_t sent() { return upgraded(*app, database, options); }

    Bus bus;
    ScriptedService service{bus};
    std::unique_ptr<peers::AppPeer> app;
    peers::upgrade_options_t options;
    const std::vector<uint8_t> database =
        peers::build_nfz_file({{2, 0, 0, 1}, 0, 0, peers::generate_nfz_content({2, 0, 0, 1}, BLOCKS * 980 - 500)});
};

TEST_F(Upgrade, ArrivesByteForByteInBlocksOfTheSizeGranted)
{
    const peers::upgrade_result_t result = sent();
    EXPECT_EQ(result.outcome, upgrade_outcome::done);
    EXPECT_EQ(service.received(), database);
    EXPECT_THAT(service.block_numbers(), ElementsAre(0, 1, 2, 3, 4));
    EXPECT_EQ(result.bytes, database.size());
    EXPECT_EQ(result.blocks, BLOCKS);
    EXPECT_EQ(result.resends, 0u);
    EXPECT_EQ(sent().outcome, upgrade_outcome::done) << "a sender can be used again";
}

TEST_F(Upgrade, BlockWhoseAnswerIsLostIsResumedBehindIt)
{
    service.on_data(2, {.answer = false});
    const peers::upgrade_result_t result = sent();
    EXPECT_EQ(result.outcome, upgrade_outcome::done);
    EXPECT_THAT(service.block_numbers(), ElementsAre(0, 1, 2, 2, 3, 4));
    EXPECT_EQ(service.received(), database);
    EXPECT_GE(result.resends, 1u);
}

// The service no longer takes blocks once it has all of them, and says "not now" to the repeated last one.
TEST_F(Upgrade, LastBlockWhoseAnswerIsLostEndsWell)
{
    service.on_data(4, {.answer = false});
    EXPECT_EQ(sent().outcome, upgrade_outcome::done);
    EXPECT_THAT(service.block_numbers(), ElementsAre(0, 1, 2, 3, 4, 4));
}

TEST_F(Upgrade, LostBlockIsSentAgain)
{
    service.on_data(0, {.take = false, .answer = false});
    service.on_data(3, {.take = false, .answer = false});
    EXPECT_EQ(sent().outcome, upgrade_outcome::done);
    EXPECT_EQ(service.received(), database);
}

TEST_F(Upgrade, BlockThatCouldNotBeWrittenIsSentAgainLater)
{
    service.on_data(1, {.take = false, .code = UPGRADE_RET_NOT_WRITTEN});
    EXPECT_EQ(sent().outcome, upgrade_outcome::done);
    EXPECT_EQ(service.received(), database);
}

TEST_F(Upgrade, GivesUpOnADiskThatStaysFull)
{
    for (uint32_t i = 2; i < 10; i++)
        service.on_data(i, {.take = false, .code = UPGRADE_RET_NOT_WRITTEN});
    const peers::upgrade_result_t result = sent();
    EXPECT_EQ(result.outcome, upgrade_outcome::far_disk);
    EXPECT_EQ(result.code, UPGRADE_RET_NOT_WRITTEN);
    EXPECT_THAT(result.what, HasSubstr("2 of 5 blocks"));
    EXPECT_THAT(service.block_numbers(), ElementsAre(0, 1, 2, 2, 2));
    EXPECT_TRUE(service.end_codes().empty()) << "no end request unless asked for";
}

TEST_F(Upgrade, WithdrawsOnlyWhenAskedAndOnlyWhenTheOldDatabaseIsGone)
{
    options.withdraw_on_failure = true;
    service.on_data(0, {.take = false, .code = UPGRADE_RET_NOT_NEWER});
    EXPECT_EQ(sent().outcome, upgrade_outcome::refused_older);
    EXPECT_TRUE(service.end_codes().empty());
    service.on_data(2, {.take = false, .code = UPGRADE_RET_STATE});
    EXPECT_EQ(sent().outcome, upgrade_outcome::refused_state);
    EXPECT_THAT(service.end_codes(), ElementsAre(UPGRADE_RET_STATE));
}

TEST_F(Upgrade, EveryRefusalIsExplained)
{
    const std::pair<uint8_t, upgrade_outcome> cases[] = {
        {UPGRADE_RET_RECEIVED_MD5, upgrade_outcome::verification},
        {UPGRADE_RET_FILE_MD5, upgrade_outcome::verification},
        {UPGRADE_RET_STATE, upgrade_outcome::refused_state},
        {UPGRADE_RET_LENGTH, upgrade_outcome::unexpected},
        {0x77, upgrade_outcome::unexpected},
    };
    for (const auto& [code, outcome] : cases) {
        service.answer_end(code);
        const peers::upgrade_result_t result = sent();
        EXPECT_EQ(result.outcome, outcome) << int{code};
        EXPECT_EQ(result.code, code);
        EXPECT_FALSE(result.what.empty());
        EXPECT_FALSE(result.next.empty());
    }
}

TEST_F(Upgrade, EndRequestWhoseAnswerIsLostIsAskedAgain)
{
    service.ignore_end_requests(1);
    EXPECT_EQ(sent().outcome, upgrade_outcome::done);
    EXPECT_EQ(service.end_codes().size(), 2u);
}

TEST_F(Upgrade, SilentServiceEndsItAfterTheLastTry)
{
    for (uint32_t i = 1; i < 10; i++)
        service.on_data(i, {.take = false, .answer = false});
    const peers::upgrade_result_t result = sent();
    EXPECT_EQ(result.outcome, upgrade_outcome::no_answer);
    EXPECT_THAT(service.block_numbers(), ElementsAre(0, 1, 1, 1));
}

TEST_F(Upgrade, CancelEndsItOnce)
{
    for (uint32_t i = 1; i < 10; i++)
        service.on_data(i, {.answer = false});
    std::atomic<int> ends = 0;
    peers::upgrade_result_t result;
    app->upgrade().begin({database, options, {}, [&](const peers::upgrade_result_t& ended) {
                              result = ended;
                              ends++;
                          }});
    ASSERT_TRUE(soon([&] { return service.block_numbers().size() >= 2; }));
    app->upgrade().cancel();
    app->upgrade().cancel();
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(result.outcome, upgrade_outcome::cancelled);
}

TEST_F(Upgrade, RateIsABound)
{
    options.bytes_per_second = 20'000;
    const peers::upgrade_result_t result = sent();
    EXPECT_EQ(result.outcome, upgrade_outcome::done);
    EXPECT_GE(result.elapsed_us, 3 * 980 * 50u) << "the last block waits until the four before are due";
}

TEST(UpgradeAlone, NobodyListensIsSaidAtOnce)
{
    const Bus bus;
    peers::bus_open_error_t error;
    const auto app = peers::AppPeer::open(bus.name("app", "phone"), {}, error);
    ASSERT_TRUE(app);
    const peers::upgrade_result_t result = upgraded(*app, std::vector<uint8_t>(500), {});
    EXPECT_EQ(result.outcome, upgrade_outcome::unreachable);
    EXPECT_LT(result.elapsed_us, 500'000u);
}

}  // namespace
