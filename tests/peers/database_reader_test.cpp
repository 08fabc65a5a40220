#include "flight_controller/database_reader.h"

#include "nfz_file/nfz_file.h"
#include "peer_fixture.h"

namespace {

using peers::read_outcome;

class Reading : public testing::Test {
protected:
    Reading() { EXPECT_EQ(station->start(), 0); }
    ~Reading() override { station->stop(); }

    Bus bus;
    ScriptedService service{bus};
    std::unique_ptr<peers::BusEndpoint> station = bus.endpoint("factory", "station");
    peers::DatabaseReader reader{*station};
};

TEST_F(Reading, FindsTheExactEndOfFilesOfEverySize)
{
    for (const size_t size : {1u, 2u, 17u, 134u, 135u, 269u, 270u, 271u, 405u, 539u, 540u, 541u, 4096u, 10000u}) {
        const std::vector<uint8_t> file = peers::generate_nfz_content({1, 2, 3, 4}, size);
        service.follow({.file = file});
        const peers::read_result_t result = read_back(reader, {});
        EXPECT_EQ(result.outcome, read_outcome::done) << size;
        EXPECT_EQ(result.data, file) << size;
        EXPECT_TRUE(result.whole_file);
        EXPECT_LE(service.seen().reads, size / PROFILE_MAX_READ + 10) << size;
    }
}

TEST_F(Reading, RangeIsExactlyThatRange)
{
    EXPECT_EQ(read_back(reader, {}).outcome, read_outcome::no_database);
    const std::vector<uint8_t> file = peers::generate_nfz_content({1, 2, 3, 4}, 3000);
    service.follow({.file = file});
    const peers::read_result_t result = read_back(reader, {.offset = 100, .length = 1000});
    EXPECT_EQ(result.outcome, read_outcome::done);
    EXPECT_EQ(result.data, std::vector<uint8_t>(file.begin() + 100, file.begin() + 1100));
    EXPECT_FALSE(result.whole_file);
    EXPECT_EQ(read_back(reader, {.offset = 2500, .length = 501}).outcome, read_outcome::past_end);
    EXPECT_EQ(read_back(reader, {.offset = 2500}).data, std::vector<uint8_t>(file.begin() + 2500, file.end()));
    EXPECT_EQ(read_back(reader, {.offset = 2999}).data.size(), 1u);
    EXPECT_EQ(read_back(reader, {.offset = 3000}).outcome, read_outcome::past_end);
}

}  // namespace
