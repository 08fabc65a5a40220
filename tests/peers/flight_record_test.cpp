// Flight records from the writer back through the reader, whole, cut and damaged.
#include "flight_record/flight_record.h"

#include <filesystem>

#include "flight_controller/flight_log.h"
#include "peer_fixture.h"

namespace {

using peers::FlightRecord;
using testing::ElementsAre;
using testing::HasSubstr;

std::string message(char type, const std::string& payload)
{
    return std::string{static_cast<char>(payload.size()), static_cast<char>(payload.size() >> 8), type} + payload;
}

class Records : public testing::Test {
protected:
    std::string written()
    {
        const auto writer = peers::UlogWriter::create(path, 77);
        writer->info("seed", UINT64_MAX);
        writer->parameter("GAIN", 0.5f);
        writer->format("gears", "int8_t[2] turns;uint8_t _padding0;uint16_t torque;");
        writer->subscribe(300, "gears");
        for (uint8_t i = 0; i < 3; i++)
            writer->data(300, uint64_t{1000} * i, std::vector<uint8_t>{i, static_cast<uint8_t>(-i), 9, i, 1});
        writer->log(2000, "stands");
        EXPECT_TRUE(writer->close());
        return text_of(path);
    }
    std::optional<FlightRecord> parsed(const std::string& file)
    {
        return FlightRecord::parse({reinterpret_cast<const uint8_t*>(file.data()), file.size()}, error);
    }

    Bus bus;
    std::string path = bus.path("record.ulg");
    peers::record_error_t error;
};

TEST_F(Records, ComeBackWholeAndUpToWhereverTheyWereCut)
{
    const std::string file = written();
    size_t rows = 0;
    for (size_t size = 0; size < file.size(); size++) {
        const auto cut = parsed(file.substr(0, size));
        ASSERT_EQ(cut.has_value(), size >= 16) << "all but the head may be missing";
        if (!cut || cut->topics.empty()) continue;
        EXPECT_THAT(cut->topics[0].times_us.size(), testing::AnyOf(rows, rows + 1)) << size;
        rows = cut->topics[0].times_us.size();
    }
    const auto record = FlightRecord::read(path, error);
    ASSERT_TRUE(record) << error.reason;
    EXPECT_FALSE(record->cut_at);
    EXPECT_EQ(record->start_us, 77u);
    EXPECT_EQ(record->info[0].second, "18446744073709551615");
    EXPECT_EQ(record->parameters[0].second, 0.5);
    EXPECT_EQ(record->markers[0].text, "stands");
    const peers::record_topic_t& gears = *record->topic("gears");
    EXPECT_EQ(gears.rate_hz(), 1000);
    EXPECT_EQ(gears.columns.size(), 3u) << "padding is no column";
    EXPECT_THAT(gears.column("turns[1]")->values, ElementsAre(0, -1, -2));
    EXPECT_THAT(gears.column("torque")->values, ElementsAre(256, 257, 258));
}

TEST_F(Records, SayWhatIsWrongAndWhere)
{
    const std::string file = written();
    const std::pair<std::string, const char*> cases[] = {
        {message('B', std::string(8, '\0') + "\2" + std::string(31, '\0')), "does not know"},
        {message('I', "\x20uint8_t x"), "key cut short"},
        {message('P', "\afloat xabc"), "\"x\" has a value of another size"},
        {message('F', "a:uint64_t timestamp;float[ x;"), "is of no plain type"},
        {message('F', "a:uint64_t timestamp;double[9000] x;"), "do not fit a message"},
        {message('F', "a:float timestamp;"), "no \"uint64_t timestamp\""},
        {message('A', std::string("\0\2\0wheels", 9)), "topic \"wheels\" has no format"},
        {message('D', std::string("\7\0", 2)), "data of an unknown topic id 7"},
        {message('D', std::string("\x2c\1", 2) + std::string(12, 'x')), "row of \"gears\" cut short"},
    };
    for (const auto& [damage, reason] : cases) {
        EXPECT_FALSE(parsed(file + damage + "more")) << reason;
        EXPECT_EQ(error.offset, file.size()) << reason;
        EXPECT_THAT(error.reason, HasSubstr(reason));
    }
    EXPECT_TRUE(parsed(file + message('S', "sync") + message('?', ""))) << "kinds that it does not know";
}

TEST_F(Records, BecomeTablesAsFarAsTheyGo)
{
    const auto full = peers::FlightLog::create("/dev/full", {});
    EXPECT_FALSE(full->close()) << "the disk did not take it";
    const auto log = peers::FlightLog::create(path, {});
    for (const double time : {1234.565, 1234.57}) {
        peers::flight_row_t row = {};
        row.time = time;
        row.commands.angles.x = std::nan("");
        log->write(row);
    }
    EXPECT_TRUE(log->close());
    std::filesystem::resize_file(path, std::filesystem::file_size(path) - 1);
    const std::string show = "fc log " + path;
    EXPECT_THAT(vela(show).text, HasSubstr("ends within the message at "));
    const std::string table = vela(show + " --csv -").text;
    EXPECT_THAT(table, AllOf(HasSubstr("\n1234.565,0,0,,0,"), Not(HasSubstr("\n1234.57,"))));
    EXPECT_EQ(vela(show + " --csv /no/such/folder/x").code, cli::exit_code::output);
    written();
    EXPECT_EQ(vela(show + " --csv -").code, cli::exit_code::bad_input) << "no record of the aircraft";
    EXPECT_EQ(vela("fc log /no/such/file").code, cli::exit_code::bad_input);
}

}  // namespace
