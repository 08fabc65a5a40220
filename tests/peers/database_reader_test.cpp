#include "flight_controller/database_reader.h"

#include "nfz_file/nfz_file.h"
#include "peer_fixture.h"

namespace {

using peers::read_outcome;

class Reading : public testing::Test {
protected:
    Reading() { EXPECT_EQ(station->start(), 0); }
    ~Reading() override { station->stop(); }
    peers::read_result_t whole() { return read_back(reader, {}); }

    Bus bus;
    ScriptedService service{bus};
    std::unique_ptr<peers::BusEndpoint> station = bus.endpoint("factory", "station");
    peers::DatabaseReader reader{*station};
};

TEST_F(Reading, FindsTheExactEndOfFilesOfEverySize)
{
    for (const size_t size : {1u, 2u, 17u, 134u, 135u, 269u, 270u, 271u, 405u, 539u, 540u, 541u, 4096u, 10000u}) {
        const std::vector<uint8_t> file = peers::generate_nfz_content({1, 2, 3, 4}, size);
        service.serve(file);
        const uint32_t before = service.reads();
        const peers::read_result_t result = whole();
        EXPECT_EQ(result.outcome, read_outcome::done) << size;
        EXPECT_EQ(result.data, file) << size;
        EXPECT_TRUE(result.whole_file);
        EXPECT_LE(service.reads() - before, size / PROFILE_MAX_READ + 10) << size;
    }
}

TEST_F(Reading, RangeIsExactlyThatRange)
{
    const std::vector<uint8_t> file = peers::generate_nfz_content({1, 2, 3, 4}, 3000);
    service.serve(file);
    const peers::read_result_t result = read_back(reader, {.offset = 100, .length = 1000});
    EXPECT_EQ(result.outcome, read_outcome::done);
    EXPECT_EQ(result.data, std::vector<uint8_t>(file.begin() + 100, file.begin() + 1100));
    EXPECT_FALSE(result.whole_file);
    EXPECT_EQ(read_back(reader, {.offset = 2500, .length = 501}).outcome, read_outcome::past_end);
    EXPECT_EQ(read_back(reader, {.offset = 2500}).data, std::vector<uint8_t>(file.begin() + 2500, file.end()));
}

TEST_F(Reading, EmptyFileAndOffsetBehindTheEndAreSaid)
{
    EXPECT_EQ(whole().outcome, read_outcome::no_database);
    service.serve(std::vector<uint8_t>(100, 1));
    EXPECT_EQ(read_back(reader, {.offset = 100}).outcome, read_outcome::past_end);
    EXPECT_EQ(read_back(reader, {.offset = 99}).data.size(), 1u);
}

TEST(ReadingAlone, NobodyListensIsSaidAtOnce)
{
    const Bus bus;
    const auto station = bus.endpoint("factory", "station");
    ASSERT_EQ(station->start(), 0);
    peers::DatabaseReader reader(*station);
    EXPECT_EQ(read_back(reader, {}).outcome, read_outcome::unreachable);
    station->stop();
}

}  // namespace
