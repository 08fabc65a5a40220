#include "app/upgrade_sender.h"

#include "flight_controller/database_reader.h"
#include "nfz_file/nfz_file.h"
#include "peer_fixture.h"

namespace {

using peers::upgrade_outcome;
using testing::HasSubstr;

constexpr uint32_t BLOCKS = 5;

class Upgrade : public testing::Test {
protected:
    Upgrade()
    {
        options.reply_timeout_us = 100'000;
        options.tries = 3;
    }
    peers::upgrade_result_t sent() { return result_of<peers::upgrade_result_t>(app->upgrade(), job()); }
    peers::upgrade_job_t job() const { return {database, options}; }

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
    EXPECT_EQ(service.database(), database);
    EXPECT_EQ(service.story(), "e s 0 1 2 3 4 f");
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
    const std::tuple<const char*, faults_t, std::string> cases[] = {
        {"an answer is lost", {{4, lost_answer}}, "e s 0 1 2 2 3 4 f"},
        // The service takes no more blocks once it has all of them, and says "not now" to the repeated last one.
        {"the last answer is lost", {{6, lost_answer}}, "e s 0 1 2 3 4 4 f"},
        {"blocks are lost", {{2, lost}, {5, lost}}, "e s 0 0 1 2 2 3 4 f"},
        // As often as it may be in a row, but never in a row.
        {"the disk is full",
         {{3, {.take = false}}, {5, {.take = false}}, {7, {.take = false}}},
         "e s 0 1 1 2 2 3 3 4 f"},
        {"the answer to the end is lost", {{7, lost_answer}}, "e s 0 1 2 3 4 f f"},
    };
    for (const auto& [name, faults, story] : cases) {
        SCOPED_TRACE(name);
        service.follow(faults);
        const peers::upgrade_result_t result = sent();
        EXPECT_EQ(result.outcome, upgrade_outcome::done);
        EXPECT_EQ(service.story(), story);
        EXPECT_EQ(service.database(), database);
        EXPECT_GE(result.resends, 1u);
    }
}

TEST_F(Upgrade, GivesUpAfterTheLastTryAndWithdrawsOnlyWhenAskedAndWhenTheOldDatabaseIsGone)
{
    service.follow(ten_from(3, {.take = false, .answer = false}));
    EXPECT_EQ(sent().outcome, upgrade_outcome::no_answer);
    EXPECT_EQ(service.story(), "e s 0 1 1 1");
    service.follow(ten_from(4, {.take = false}));
    const peers::upgrade_result_t full = sent();
    EXPECT_EQ(full.outcome, upgrade_outcome::far_disk);
    EXPECT_EQ(full.code, UPGRADE_RET_NOT_WRITTEN);
    EXPECT_THAT(full.what, HasSubstr("2 of 5 blocks"));
    EXPECT_EQ(service.story(), "e s 0 1 2 2 2") << "no end request unless asked for";

    options.withdraw_on_failure = true;
    const std::vector<uint8_t> newer = peers::build_nfz_file({{2, 0, 0, 2}, 0, 0, {}});
    service.holds(newer);
    service.follow({});
    EXPECT_EQ(sent().outcome, upgrade_outcome::refused_older);
    EXPECT_EQ(service.story(), "e s 0");
    EXPECT_EQ(service.database(), newer);
    service.holds({});
    service.follow({{3, {.code = UPGRADE_RET_STATE}}});
    EXPECT_EQ(sent().outcome, upgrade_outcome::refused_state);
    EXPECT_EQ(service.story(), "e s 0 1 f");
    EXPECT_TRUE(service.database().empty());
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
        service.follow({{7, {.code = code}}});
        const peers::upgrade_result_t result = sent();
        EXPECT_EQ(result.outcome, outcome) << int{code};
        EXPECT_EQ(result.code, code);
        EXPECT_FALSE(result.what.empty() || result.next.empty());
    }
}

TEST_F(Upgrade, ServiceThatContradictsItselfIsNotBelieved)
{
    const auto says = [](const auto& record) { return fault_t{.reply = record_bytes(record)}; };
    const auto block = [&says](int32_t number) { return says(upgrade_data_transfer_ack_t{UPGRADE_RET_OK, number}); };
    const std::tuple<uint32_t, fault_t, const char*> cases[] = {
        {0, {.reply = sim::bytes_t{}}, "entry request is too short"},
        {1, {.reply = sim::bytes_t{0}}, "start request is too short"},
        {1, says(upgrade_request_receive_ack_t{}), "blocks of 0 bytes"},
        {4, {.reply = sim::bytes_t{0, 2}}, "block is too short"},
        {4, block(BLOCKS), "never sent"},
        {4, block(-2), "never sent"},
        {7, {.reply = sim::bytes_t{}}, "end request is empty"},
    };
    for (const auto& [request, fault, words] : cases) {
        SCOPED_TRACE(words);
        service.follow({{request, fault}});
        const peers::upgrade_result_t result = sent();
        EXPECT_EQ(result.outcome, upgrade_outcome::unexpected);
        EXPECT_THAT(result.what, HasSubstr(words));
    }
    service.follow(ten_from(4, block(0)));
    EXPECT_EQ(sent().outcome, upgrade_outcome::refused_state) << "a yes to another block is none";
    EXPECT_EQ(service.story(), "e s 0 1 2 1 1");
    service.follow({{7, {.answer = false, .restart = true}}});
    const peers::upgrade_result_t restarted = sent();
    EXPECT_EQ(restarted.outcome, upgrade_outcome::verification);
    EXPECT_THAT(restarted.what, HasSubstr("first answer to the end request"));
}

TEST_F(Upgrade, CancelEndsItOnce)
{
    service.follow(ten_from(3, {.answer = false}));
    std::atomic<int> ends = 0;
    peers::upgrade_job_t endless = job();
    endless.done = [&](const peers::upgrade_result_t& ended) {
        EXPECT_EQ(ended.outcome, upgrade_outcome::cancelled);
        ends++;
    };
    app->upgrade().begin(endless);
    ASSERT_TRUE(soon([&] { return service.story().ends_with("1"); }));
    app->upgrade().cancel();
    app->upgrade().cancel();
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(app->upgrade().begin(job()), 0);
    app->upgrade().cancel();  // nobody wants to know
}

TEST(Alone, NobodyListensIsSaidAtOnce)
{
    const Bus bus;
    const auto app = bus.app();
    const std::vector<uint8_t> file(500);
    const auto sent = result_of<peers::upgrade_result_t>(app->upgrade(), peers::upgrade_job_t{file});
    EXPECT_EQ(sent.outcome, upgrade_outcome::unreachable);
    EXPECT_LT(sent.elapsed_us, 500'000u);
    const auto delivered = result_of<peers::transfer_result_t>(app->restrictions(), peers::tfr_job_t{file});
    EXPECT_EQ(delivered.outcome, peers::transfer_outcome::unreachable);
    peers::DatabaseReader reader(app->endpoint());
    const auto read = result_of<peers::read_result_t>(reader, peers::read_job_t{});
    EXPECT_EQ(read.outcome, peers::read_outcome::unreachable);
}

class Reading : public Upgrade {
protected:
    peers::read_result_t read(const peers::read_job_t& job = {})
    {
        return result_of<peers::read_result_t>(reader, job);
    }

    peers::DatabaseReader reader{app->endpoint()};
};

TEST_F(Reading, FindsTheExactEndOfFilesOfEverySize)
{
    for (const size_t size : {1u, 2u, 17u, 134u, 135u, 269u, 270u, 271u, 405u, 539u, 540u, 541u, 4096u, 10000u}) {
        const std::vector<uint8_t> file = peers::generate_nfz_content({1, 2, 3, 4}, size);
        service.holds(file);
        service.follow({});
        const peers::read_result_t result = read();
        EXPECT_EQ(result.outcome, peers::read_outcome::done) << size;
        EXPECT_EQ(result.data, file) << size;
        EXPECT_TRUE(result.whole_file);
        const std::string story = service.story();
        EXPECT_LE(std::count(story.begin(), story.end(), 'r'), size / PROFILE_MAX_READ + 10) << size;
    }
}

TEST_F(Reading, RangeIsExactlyThatRange)
{
    EXPECT_EQ(read().outcome, peers::read_outcome::no_database);
    const std::vector<uint8_t> file = peers::generate_nfz_content({1, 2, 3, 4}, 3000);
    service.holds(file);
    const peers::read_result_t result = read({.offset = 100, .length = 1000});
    EXPECT_EQ(result.outcome, peers::read_outcome::done);
    EXPECT_EQ(result.data, std::vector<uint8_t>(file.begin() + 100, file.begin() + 1100));
    EXPECT_FALSE(result.whole_file);
    EXPECT_EQ(read({.offset = 2500, .length = 501}).outcome, peers::read_outcome::past_end);
    EXPECT_EQ(read({.offset = 2500}).data, std::vector<uint8_t>(file.begin() + 2500, file.end()));
    EXPECT_EQ(read({.offset = 2999}).data.size(), 1u);
    EXPECT_EQ(read({.offset = 3000}).outcome, peers::read_outcome::past_end);
}

}  // namespace
