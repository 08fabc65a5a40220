#include "app/tfr_sender.h"

#include "tfr_file/tfr_file.h"
#include "tfr_keeper.h"

namespace {

using peers::transfer_outcome;
using testing::HasSubstr;

constexpr uint16_t FRAGMENTS = 5;

std::vector<uint8_t> file_of(size_t areas)
{
    peers::tfr_recipe_t recipe;
    recipe.areas.resize(areas);
    for (uint32_t i = 0; i < areas; i++)
        recipe.areas[i].area_id = i;
    return peers::build_tfr_file(recipe);
}

class Delivery : public testing::Test {
protected:
    Delivery()
    {
        peers::bus_open_error_t error;
        app = peers::AppPeer::open(bus.name("app", "phone"), {}, error);
        options.reply_timeout_us = 100'000;
        options.tries = 3;
    }
    peers::transfer_result_t sent() { return delivered(*app, file, options); }

    Bus bus;
    TfrKeeper service{bus};
    std::unique_ptr<peers::AppPeer> app;
    peers::tfr_options_t options;
    std::vector<uint8_t> file = file_of(45);  // 1250 bytes: five fragments, the last one of 230
};

TEST_F(Delivery, ArrivesByteForByteAndIsNotSentTwice)
{
    ASSERT_EQ((file.size() + 254) / 255, FRAGMENTS);
    const peers::transfer_result_t result = sent();
    EXPECT_EQ(result.outcome, transfer_outcome::done);
    EXPECT_EQ(service.story(), "s 0 1 2 3 4 f");
    EXPECT_EQ(service.file(), file);
    EXPECT_EQ(result.bytes, file.size());
    EXPECT_EQ(result.blocks, FRAGMENTS);
    EXPECT_EQ(result.resends, 0u);

    const peers::transfer_result_t again = sent();
    EXPECT_EQ(again.outcome, transfer_outcome::done);
    EXPECT_TRUE(again.already_there);
    EXPECT_EQ(service.story(), "s 0 1 2 3 4 f s");
    options.force = true;
    EXPECT_FALSE(sent().already_there);
    EXPECT_EQ(service.file(), file);
}

TEST_F(Delivery, LostFragmentsAndLostAnswersAreResumedWhereTheServiceIs)
{
    service.on(1, {.answer = false});                 // 0 is taken twice: it starts afresh
    service.on(4, {.answer = false});                 // 2 is taken, the second one refused
    service.on(6, {.take = false, .answer = false});  // 3 never arrives
    service.on(8, {.answer = false});                 // 4 is the last one: refused in the finish state
    const peers::transfer_result_t result = sent();
    EXPECT_EQ(result.outcome, transfer_outcome::done) << result.what;
    EXPECT_EQ(service.story(), "s 0 0 1 2 2 3 3 4 4 f");
    EXPECT_EQ(service.file(), file);
    EXPECT_GE(result.resends, 4u);
}

TEST_F(Delivery, RefusedFragmentsAreSentAgain)
{
    service.on(2, {.take = false, .ack = TFR_UPDATE_SEQ_NOT_CONTINUE});
    service.on(4, {.take = false, .ack = TFR_UPDATE_SAVE_DATA_FAIL});
    EXPECT_EQ(sent().outcome, transfer_outcome::done);
    EXPECT_EQ(service.story(), "s 0 1 1 2 2 3 4 f");
    EXPECT_EQ(service.file(), file);
}

// What was written of a fragment before the disk was full stays in the file, uncounted.
TEST_F(Delivery, FailedWriteThatLeavesBytesIsNoDamageOnTheWay)
{
    service.on(3, {.take = false, .ack = TFR_UPDATE_SAVE_DATA_FAIL, .litter = true});
    const peers::transfer_result_t result = sent();
    EXPECT_EQ(result.outcome, transfer_outcome::far_disk);
    EXPECT_EQ(result.code, TFR_UPDATE_MD5_CHECK_FAIL);
}

TEST_F(Delivery, GivesUpOnASilentServiceAfterTheLastTry)
{
    for (uint32_t i = 2; i < 10; i++)
        service.on(i, {.take = false, .answer = false});
    const peers::transfer_result_t result = sent();
    EXPECT_EQ(result.outcome, transfer_outcome::no_answer);
    EXPECT_EQ(service.story(), "s 0 1 1 1");
    EXPECT_THAT(result.what, HasSubstr("1 of 5"));
}

// The service takes any number for a first fragment, so a restart shows only at the end.
TEST_F(Delivery, RestartOfTheServiceOnTheWayIsFoundAtTheEnd)
{
    service.on(3, {.restart = true});
    const peers::transfer_result_t result = sent();
    EXPECT_EQ(result.outcome, transfer_outcome::refused_state);
    EXPECT_EQ(result.code, TFR_UPDATE_STATE_ERROR);
    EXPECT_THAT(result.what, HasSubstr("restarted on the way"));
    EXPECT_EQ(sent().outcome, transfer_outcome::done) << "the next one works";
}

// A second finish would empty the file that the first one has accepted.
TEST_F(Delivery, LostAnswerToTheFinishIsClearedUpByTheUid)
{
    service.on(6, {.answer = false});
    EXPECT_EQ(sent().outcome, transfer_outcome::done);
    EXPECT_EQ(service.story(), "s 0 1 2 3 4 f s");
    EXPECT_EQ(service.file(), file);
}

TEST_F(Delivery, LostFinishRequestIsClearedUpByASecondQuestion)
{
    service.on(6, {.take = false, .answer = false});
    EXPECT_EQ(sent().outcome, transfer_outcome::done);
    EXPECT_EQ(service.story(), "s 0 1 2 3 4 f s s");
}

TEST_F(Delivery, RefusedFileWhoseRefusalIsLostIsNotTakenForDelivered)
{
    file[50] ^= 1;
    service.on(6, {.answer = false});
    EXPECT_EQ(sent().outcome, transfer_outcome::verification);
    EXPECT_TRUE(service.file().empty());
}

TEST_F(Delivery, WrongDigestIsRefused)
{
    file[50] ^= 1;
    const peers::transfer_result_t result = sent();
    EXPECT_EQ(result.outcome, transfer_outcome::verification);
    EXPECT_EQ(result.code, TFR_UPDATE_MD5_CHECK_FAIL);
}

TEST_F(Delivery, EveryRefusalIsExplained)
{
    const std::tuple<uint32_t, uint8_t, transfer_outcome> cases[] = {
        {0, TFR_UPDATE_PACKET_DATA_ERROR, transfer_outcome::unexpected},
        {1, TFR_UPDATE_STATE_ERROR, transfer_outcome::refused_state},
        {1, TFR_UPDATE_SEQ_NOT_CONTINUE, transfer_outcome::refused_state},
        {1, TFR_UPDATE_SAVE_DATA_FAIL, transfer_outcome::far_disk},
        {6, TFR_UPDATE_SAVED_DATA_TOO_MUCH, transfer_outcome::refused_state},
        {6, TFR_UPDATE_ERR_UNKNOW, transfer_outcome::unexpected},
        {6, 0x77, transfer_outcome::unexpected},
    };
    options.tries = 1;
    options.force = true;
    for (const auto& [request, ack, outcome] : cases) {
        Bus other;
        TfrKeeper keeper(other);
        peers::bus_open_error_t error;
        const auto phone = peers::AppPeer::open(other.name("app", "phone"), {}, error);
        keeper.on(request, {.ack = ack});
        const peers::transfer_result_t result = delivered(*phone, file, options);
        EXPECT_EQ(result.outcome, outcome) << int{ack};
        EXPECT_EQ(result.code, ack);
        EXPECT_FALSE(result.what.empty());
        EXPECT_FALSE(result.next.empty());
    }
}

TEST_F(Delivery, CancelEndsItOnce)
{
    for (uint32_t i = 2; i < 10; i++)
        service.on(i, {.answer = false});
    std::atomic<int> ends = 0;
    app->restrictions().begin({file, options, {}, [&](const peers::transfer_result_t& ended) {
                                   EXPECT_EQ(ended.outcome, transfer_outcome::cancelled);
                                   ends++;
                               }});
    ASSERT_TRUE(soon([&] { return service.story().size() >= 5; }));
    app->restrictions().cancel();
    app->restrictions().cancel();
    EXPECT_EQ(ends, 1);
}

// Fragments have 16-bit numbers: the answer to the last possible one names 0 as the next.
TEST_F(Delivery, AsManyFragmentsAsThereAreNumbers)
{
    options.max_block = 1;
    file = file_of(2425);  // 65510 bytes
    const std::vector<uint8_t> surplus(65536 - file.size(), 0);
    file.insert(file.end() - 16, surplus.begin(), surplus.end());
    const peers::md5_digest_t digest = peers::md5_of(peers::bytes_view(file).first(file.size() - 16));
    std::copy(digest.begin(), digest.end(), file.end() - 16);
    EXPECT_EQ(sent().outcome, transfer_outcome::done);
    EXPECT_EQ(service.file(), file);
    file.push_back(0);
    const auto unsent = [](const peers::transfer_result_t&) { FAIL(); };
    EXPECT_EQ(app->restrictions().begin({file, options, {}, unsent}), -EFBIG);
    EXPECT_EQ(app->restrictions().begin({{}, options, {}, unsent}), -EINVAL);
}

TEST(DeliveryAlone, NobodyListensIsSaidAtOnce)
{
    const Bus bus;
    peers::bus_open_error_t error;
    const auto app = peers::AppPeer::open(bus.name("app", "phone"), {}, error);
    ASSERT_TRUE(app);
    const peers::transfer_result_t result = delivered(*app, file_of(1), {});
    EXPECT_EQ(result.outcome, transfer_outcome::unreachable);
    EXPECT_LT(result.elapsed_us, 500'000u);
}

}  // namespace
