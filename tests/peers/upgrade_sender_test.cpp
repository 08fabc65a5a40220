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
        options.reply_timeout_us = 100'000;
        options.tries = 3;
    }
    peers::upgrade_result_t sent() { return upgraded(*app, database, options); }

    Bus bus;
    ScriptedService service{bus};
    std::unique_ptr<peers::AppPeer> app = bus.app();
    peers::upgrade_options_t options;
    const std::vector<uint8_t> database =
        peers::build_nfz_file({{2, 0, 0, 1}, 0, 0, peers::generate_nfz_content({2, 0, 0, 1}, BLOCKS * 980 - 500)});
};

TEST_F(Upgrade, ArrivesByteForByteInBlocksOfTheSizeGranted)
{
    const peers::upgrade_result_t result = sent();
    EXPECT_EQ(result.outcome, upgrade_outcome::done);
    EXPECT_EQ(service.seen().received, database);
    EXPECT_THAT(service.seen().blocks, ElementsAre(0, 1, 2, 3, 4));
    EXPECT_EQ(result.bytes, database.size());
    EXPECT_EQ(result.blocks, BLOCKS);
    EXPECT_EQ(result.resends, 0u);
    options.bytes_per_second = 20'000;
    const peers::upgrade_result_t again = sent();
    EXPECT_EQ(again.outcome, upgrade_outcome::done) << "a sender can be used again";
    EXPECT_GE(again.elapsed_us, 3 * 980 * 50u) << "the last block waits until the four before are due";
}

TEST_F(Upgrade, ResumesWhereTheServiceIs)
{
    const fault_t lost_answer = {.answer = false};
    const fault_t lost = {.take = false, .answer = false};
    const std::tuple<const char*, faults_t, std::vector<int32_t>> cases[] = {
        {"an answer is lost", {{2, lost_answer}}, {0, 1, 2, 2, 3, 4}},
        // The service takes no more blocks once it has all of them, and says "not now" to the repeated last one.
        {"the last answer is lost", {{4, lost_answer}}, {0, 1, 2, 3, 4, 4}},
        {"blocks are lost", {{0, lost}, {3, lost}}, {0, 0, 1, 2, 2, 3, 4}},
        {"not written", {{1, {.take = false, .code = UPGRADE_RET_NOT_WRITTEN}}}, {0, 1, 1, 2, 3, 4}},
    };
    for (const auto& [name, faults, blocks] : cases) {
        SCOPED_TRACE(name);
        service.follow({.data = faults});
        const peers::upgrade_result_t result = sent();
        EXPECT_EQ(result.outcome, upgrade_outcome::done);
        EXPECT_EQ(service.seen().blocks, blocks);
        EXPECT_EQ(service.seen().received, database);
        EXPECT_GE(result.resends, 1u);
    }
    service.follow({.ends_ignored = 1});
    EXPECT_EQ(sent().outcome, upgrade_outcome::done);
    EXPECT_EQ(service.seen().end_codes.size(), 2u) << "an end request whose answer is lost is asked again";
}

TEST_F(Upgrade, GivesUpAfterTheLastTry)
{
    service.follow({.data = ten_from(2, {.take = false, .code = UPGRADE_RET_NOT_WRITTEN})});
    const peers::upgrade_result_t full = sent();
    EXPECT_EQ(full.outcome, upgrade_outcome::far_disk);
    EXPECT_EQ(full.code, UPGRADE_RET_NOT_WRITTEN);
    EXPECT_THAT(full.what, HasSubstr("2 of 5 blocks"));
    EXPECT_THAT(service.seen().blocks, ElementsAre(0, 1, 2, 2, 2));
    EXPECT_TRUE(service.seen().end_codes.empty()) << "no end request unless asked for";
    service.follow({.data = ten_from(1, {.take = false, .answer = false})});
    EXPECT_EQ(sent().outcome, upgrade_outcome::no_answer);
    EXPECT_THAT(service.seen().blocks, ElementsAre(0, 1, 1, 1));
}

TEST_F(Upgrade, WithdrawsOnlyWhenAskedAndOnlyWhenTheOldDatabaseIsGone)
{
    options.withdraw_on_failure = true;
    service.follow({.data = {{0, {.take = false, .code = UPGRADE_RET_NOT_NEWER}}}});
    EXPECT_EQ(sent().outcome, upgrade_outcome::refused_older);
    EXPECT_TRUE(service.seen().end_codes.empty());
    service.follow({.data = {{1, {.take = false, .code = UPGRADE_RET_STATE}}}});
    EXPECT_EQ(sent().outcome, upgrade_outcome::refused_state);
    EXPECT_THAT(service.seen().end_codes, ElementsAre(UPGRADE_RET_STATE));
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
        service.follow({.end_code = code});
        const peers::upgrade_result_t result = sent();
        EXPECT_EQ(result.outcome, outcome) << int{code};
        EXPECT_EQ(result.code, code);
        EXPECT_FALSE(result.what.empty());
        EXPECT_FALSE(result.next.empty());
    }
}

TEST_F(Upgrade, CancelEndsItOnce)
{
    service.follow({.data = ten_from(1, {.answer = false})});
    std::atomic<int> ends = 0;
    app->upgrade().begin({database, options, {}, [&](const peers::upgrade_result_t& ended) {
                              EXPECT_EQ(ended.outcome, upgrade_outcome::cancelled);
                              ends++;
                          }});
    ASSERT_TRUE(soon([&] { return service.seen().blocks.size() >= 2; }));
    app->upgrade().cancel();
    app->upgrade().cancel();
    EXPECT_EQ(ends, 1);
}

TEST(Alone, NobodyListensIsSaidAtOnce)
{
    const Bus bus;
    const auto app = bus.app();
    const peers::upgrade_result_t result = upgraded(*app, std::vector<uint8_t>(500), {});
    EXPECT_EQ(result.outcome, upgrade_outcome::unreachable);
    EXPECT_LT(result.elapsed_us, 500'000u);
    EXPECT_EQ(delivered(*app, std::vector<uint8_t>(500), {}).outcome, upgrade_outcome::unreachable);
    peers::DatabaseReader reader(app->endpoint());
    EXPECT_EQ(read_back(reader, {}).outcome, peers::read_outcome::unreachable);
}

}  // namespace
