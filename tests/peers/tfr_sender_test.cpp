#include "app/tfr_sender.h"

#include "peer_fixture.h"
#include "tfr_file/tfr_file.h"
#include "tfr_wire.h"

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
        options.reply_timeout_us = 100'000;
        options.tries = 3;
    }
    peers::transfer_result_t sent()
    {
        return result_of<peers::transfer_result_t>(app->restrictions(), peers::tfr_job_t{file, options});
    }

    Bus bus;
    ScriptedService service{bus};
    std::unique_ptr<peers::AppPeer> app = bus.app();
    peers::tfr_options_t options;
    std::vector<uint8_t> file = file_of(45);  // 1250 bytes: five fragments, the last one of 230
};

TEST_F(Delivery, ArrivesByteForByteAndIsNotSentTwice)
{
    ASSERT_EQ((file.size() + 254) / 255, FRAGMENTS);
    const peers::transfer_result_t result = sent();
    EXPECT_EQ(result.outcome, transfer_outcome::done);
    EXPECT_EQ(service.story(), "s 0 1 2 3 4 f");
    EXPECT_EQ(service.areas(), file);
    EXPECT_EQ(result.bytes, file.size());
    EXPECT_EQ(result.blocks, FRAGMENTS);
    EXPECT_EQ(result.resends, 0u);

    const peers::transfer_result_t again = sent();
    EXPECT_EQ(again.outcome, transfer_outcome::done);
    EXPECT_TRUE(again.already_there);
    EXPECT_EQ(service.story(), "s 0 1 2 3 4 f s");
}

TEST_F(Delivery, ResumesWhereTheServiceIs)
{
    const fault_t lost_answer = {.answer = false};
    const fault_t lost = {.take = false, .answer = false};
    const std::tuple<const char*, faults_t, std::string> cases[] = {
        // 0 is taken twice: it starts afresh. 2 and 4 are taken and the second ones refused, 4 in the finish state.
        {"fragments", {{1, lost_answer}, {4, lost_answer}, {6, lost}, {8, lost_answer}}, "s 0 0 1 2 2 3 3 4 4 f"},
        {"refusals",
         {{2, {.take = false, .code = TFR_UPDATE_SEQ_NOT_CONTINUE}}, {4, {.take = false}}},
         "s 0 1 1 2 2 3 4 f"},
        // A second finish would empty the file that the first one has accepted.
        {"answer to the finish", {{6, lost_answer}}, "s 0 1 2 3 4 f s"},
        {"finish", {{6, lost}}, "s 0 1 2 3 4 f s s"},
    };
    options.force = true;
    for (const auto& [name, faults, story] : cases) {
        SCOPED_TRACE(name);
        service.follow(faults);
        const peers::transfer_result_t result = sent();
        EXPECT_EQ(result.outcome, transfer_outcome::done) << result.what;
        EXPECT_EQ(service.story(), story);
        EXPECT_EQ(service.areas(), file);
        EXPECT_FALSE(result.already_there);
    }
}

TEST_F(Delivery, GivesUpOnASilentServiceAfterTheLastTryOrWhenItIsCancelled)
{
    service.follow(ten_from(2, {.take = false, .answer = false}));
    const peers::transfer_result_t result = sent();
    EXPECT_EQ(result.outcome, transfer_outcome::no_answer);
    EXPECT_EQ(result.resends, 2u);
    EXPECT_EQ(service.story(), "s 0 1 1 1");
    EXPECT_THAT(result.what, HasSubstr("1 of 5"));

    service.follow(ten_from(0, {.take = false, .answer = false}));
    transfer_outcome ended = transfer_outcome::done;
    const auto done = [&](const peers::transfer_result_t& end) { ended = end.outcome; };
    EXPECT_EQ(app->restrictions().begin({file, options, {}, done}), 0);
    app->restrictions().cancel();
    EXPECT_EQ(ended, transfer_outcome::cancelled);
}

TEST_F(Delivery, EveryRefusalIsExplained)
{
    using outcome = transfer_outcome;
    const fault_t half_written = {.take = false, .litter = true};
    const std::tuple<uint32_t, fault_t, outcome, uint8_t, const char*> cases[] = {
        {0, {.code = TFR_UPDATE_PACKET_DATA_ERROR}, outcome::unexpected, TFR_UPDATE_PACKET_DATA_ERROR, ""},
        {1, {.code = TFR_UPDATE_STATE_ERROR}, outcome::refused_state, TFR_UPDATE_STATE_ERROR, ""},
        {6, {.code = TFR_UPDATE_SAVED_DATA_TOO_MUCH}, outcome::refused_state, TFR_UPDATE_SAVED_DATA_TOO_MUCH, ""},
        {6, {.code = TFR_UPDATE_ERR_UNKNOW}, outcome::unexpected, TFR_UPDATE_ERR_UNKNOW, ""},
        {6, {.code = 0x77}, outcome::unexpected, 0x77, ""},
        // The service takes any number for a first fragment, so a restart shows only at the end.
        {3, {.restart = true}, outcome::refused_state, TFR_UPDATE_STATE_ERROR, "restarted on the way"},
        // What was written of a fragment before the disk was full stays in the file, uncounted.
        {3, half_written, outcome::far_disk, TFR_UPDATE_MD5_CHECK_FAIL, "a part of it stayed"},
    };
    options.force = true;
    for (const auto& [request, fault, ends, code, words] : cases) {
        SCOPED_TRACE(testing::Message() << "request " << request << ", code " << int{code});
        service.follow({{request, fault}});
        const peers::transfer_result_t result = sent();
        EXPECT_EQ(result.outcome, ends);
        EXPECT_EQ(result.code, code);
        EXPECT_THAT(result.what, HasSubstr(words));
        EXPECT_FALSE(result.what.empty() || result.next.empty());
    }
    update_tfr_rsp_t elsewhere = {TFR_UPDATE_SEQ_NOT_CONTINUE, TFR_NEXT_SET, {}};
    elsewhere.seq = FRAGMENTS + 1;
    const std::pair<sim::bytes_t, const char*> contradictions[] = {
        {sim::bytes_t(17), "too short"},
        {record_bytes(update_tfr_rsp_t{}), "does not say how far"},
        {record_bytes(elsewhere), "never sent"},
    };
    for (const auto& [reply, words] : contradictions) {
        service.follow({{3, {.reply = reply}}});
        const peers::transfer_result_t result = sent();
        EXPECT_EQ(result.outcome, outcome::unexpected);
        EXPECT_THAT(result.what, HasSubstr(words));
    }
    options.tries = 1;
    service.follow({{1, {.code = TFR_UPDATE_SEQ_NOT_CONTINUE}}});
    EXPECT_EQ(sent().outcome, outcome::refused_state);
    service.follow({{1, {.code = TFR_UPDATE_SAVE_DATA_FAIL}}});
    EXPECT_EQ(sent().outcome, outcome::far_disk);
}

// With the refusal heard and with the refusal lost.
TEST_F(Delivery, WrongDigestIsRefusedAndNotTakenForDelivered)
{
    file[50] ^= 1;
    const peers::transfer_result_t result = sent();
    EXPECT_EQ(result.outcome, transfer_outcome::verification);
    EXPECT_EQ(result.code, TFR_UPDATE_MD5_CHECK_FAIL);
    service.follow({{6, {.answer = false}}});
    EXPECT_EQ(sent().outcome, transfer_outcome::verification);
    EXPECT_TRUE(service.areas().empty());
}

// Fragments have 16-bit numbers: the answer to the last possible one names 0 as the next.
TEST_F(Delivery, AsManyFragmentsAsThereAreNumbers)
{
    options.max_block = 1;
    file = file_of(2425);  // 65510 bytes
    file.resize(65536 - 16);
    file = with_digest(file);
    EXPECT_EQ(sent().outcome, transfer_outcome::done);
    EXPECT_EQ(service.areas(), file);
    file.push_back(0);
    const auto unsent = [](const peers::transfer_result_t&) { FAIL(); };
    EXPECT_EQ(app->restrictions().begin({file, options, {}, unsent}), -EFBIG);
    EXPECT_EQ(app->restrictions().begin({{}, options, {}, unsent}), -EINVAL);
}

}  // namespace
