// The tool as people call it: what it prints, and how it ends.
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "exit_codes.h"
#include "peer_fixture.h"
#include "tfr_keeper.h"
#include "units.h"
#include "watch_filter.h"

namespace {

using cli::exit_code;
using testing::HasSubstr;
using testing::StartsWith;

struct outcome_t {
    exit_code code;
    std::string text;  // standard output and error
};

outcome_t vela(const std::string& arguments)
{
    const std::string command = std::string(VELA_PROGRAM) + " " + arguments + " 2>&1";
    std::FILE* pipe = popen(command.c_str(), "r");
    std::string text;
    char buffer[4096];
    size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0)
        text.append(buffer, got);
    const int status = pclose(pipe);
    return {static_cast<exit_code>(WEXITSTATUS(status)), text};
}

std::string read_text(const std::string& path)
{
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

TEST(Tool, MakesAFileThatInspectAccepts)
{
    const Bus bus;
    const std::string file = bus.directory() + "/nfz.bin";
    EXPECT_EQ(vela("nfz make -o " + file + " --version 2.0.0.1 --size 64k").code, exit_code::ok);
    EXPECT_EQ(read_text(file).size(), 65536u);
    const outcome_t found = vela("nfz inspect " + file + " --json");
    EXPECT_EQ(found.code, exit_code::ok);
    const auto report = cli::json::parse(found.text);
    EXPECT_EQ(report["head"]["version"], "2.0.0.1");
    EXPECT_EQ(report["kept"], true);

    std::ofstream(file, std::ios::app) << "x";
    const outcome_t damaged = vela("nfz inspect " + file);
    EXPECT_EQ(damaged.code, exit_code::bad_input);
    EXPECT_THAT(damaged.text, HasSubstr("discards it"));
    const outcome_t unsent = vela("nfz send " + file + " --route " + bus.routes());
    EXPECT_EQ(unsent.code, exit_code::bad_input);
    EXPECT_THAT(unsent.text, HasSubstr("Nothing was sent"));
}

TEST(Tool, EndsWithADifferentCodePerKindOfFailure)
{
    const Bus bus;
    const std::string route = " --route " + bus.routes();
    EXPECT_EQ(vela("nfz make -o x --version 2.0").code, exit_code::usage);
    EXPECT_EQ(vela("nfz make -o x --version 2.0.0.1 --size 10").code, exit_code::usage);
    EXPECT_EQ(vela("nfz make -o /no/such/directory/x --version 2.0.0.1").code, exit_code::output);
    EXPECT_EQ(vela("nfz inspect /no/such/file").code, exit_code::bad_input);
    EXPECT_EQ(vela("nonsense").code, exit_code::usage);
    EXPECT_EQ(vela("version --as nonsense" + route).code, exit_code::usage);
    EXPECT_EQ(vela("version --route /no/such/file").code, exit_code::configuration);
    EXPECT_EQ(vela("bus watch" + route).code, exit_code::configuration) << "no tap in that configuration";
    const outcome_t silent = vela("version" + route + " --json");
    EXPECT_EQ(silent.code, exit_code::unreachable);
    EXPECT_EQ(cli::json::parse(silent.text)["error"]["name"], "unreachable");

    const auto taken = bus.endpoint("factory", "station");
    EXPECT_EQ(vela("version" + route).code, exit_code::address_in_use);
}

TEST(Tool, SendsAndReadsBack)
{
    const Bus bus;
    ScriptedService service(bus);
    const std::string sent = bus.directory() + "/sent.bin";
    const std::string read = bus.directory() + "/read.bin";
    const std::string route = " --route " + bus.routes();
    vela("nfz make -o " + sent + " --version 2.0.0.1");
    EXPECT_EQ(vela("nfz send " + sent + route).code, exit_code::ok);
    service.serve(service.received());
    EXPECT_EQ(vela("nfz read -o " + read + route).code, exit_code::ok);
    EXPECT_EQ(read_text(read), read_text(sent));
    const outcome_t range = vela("nfz read --offset 0 --length 16" + route);
    EXPECT_EQ(range.code, exit_code::ok);
    EXPECT_THAT(range.text, StartsWith("00000000  6e 6f 2d 66"));

    service.serve(std::vector<uint8_t>(1000, 7));
    EXPECT_EQ(vela("nfz read" + route).code, exit_code::verification);
    service.answer_end(UPGRADE_RET_FILE_MD5);
    EXPECT_EQ(vela("nfz send " + sent + route).code, exit_code::verification);
    service.on_data(static_cast<uint32_t>(service.block_numbers().size()),
                    {.take = false, .code = UPGRADE_RET_NOT_NEWER});
    const outcome_t older = vela("nfz send " + sent + route);
    EXPECT_EQ(older.code, exit_code::refused_older);
    EXPECT_THAT(older.text, HasSubstr("newer database"));
}

TEST(Tool, RestrictionsGoThroughTheToolByteForByte)
{
    const Bus bus;
    const std::string file = bus.directory() + "/tfr.bin";
    const std::string again = bus.directory() + "/again.bin";
    const outcome_t made = vela("tfr make " SAMPLE_AREAS " -o " + file);
    EXPECT_EQ(made.code, exit_code::ok);
    EXPECT_THAT(made.text, HasSubstr("6 areas (3 circles, 3 polygons)"));
    EXPECT_THAT(made.text, HasSubstr("computed from the corners"));
    EXPECT_EQ(vela("tfr inspect " + file + " --geojson | " VELA_PROGRAM " tfr make - -o " + again).code, exit_code::ok);
    EXPECT_EQ(read_text(again), read_text(file));
    const std::string uid = "000102030405060708090a0b0c0d0e0f";
    EXPECT_EQ(vela("tfr make " SAMPLE_AREAS " -o " + file + " --uid " + uid).code, exit_code::ok);
    vela("tfr inspect " + file + " --geojson | " VELA_PROGRAM " tfr make - -o " + again);
    EXPECT_EQ(read_text(again), read_text(file)) << "with a uid of its own";
    const auto shown = cli::json::parse(vela("tfr inspect --json " + file).text);
    EXPECT_EQ(shown["uid"], uid);
    EXPECT_EQ(shown["areas"].size(), 6u);
    EXPECT_EQ(shown["areas"][4]["radius"], 3200);

    const auto nearest = cli::json::parse(vela("tfr nearest " + file + " 48.137154 11.576124 --json").text);
    EXPECT_EQ(nearest["nearest"].size(), 5u);
    EXPECT_EQ(nearest["nearest"][0]["id"], 260701);
    EXPECT_NEAR(nearest["nearest"][0]["distance"].get<double>(), -849, 1) << "50 m east of its center";
    EXPECT_THAT(vela("tfr nearest " + file + " -48 -11.5").text, HasSubstr("at -48.000000, -11.500000"));
}

TEST(Tool, SendsRestrictionsOnce)
{
    const Bus bus;
    TfrKeeper service(bus);
    const std::string file = bus.directory() + "/tfr.bin";
    const std::string send = "tfr send " + file + " --route " + bus.routes();
    vela("tfr make " SAMPLE_AREAS " -o " + file);
    const outcome_t first = vela(send);
    EXPECT_EQ(first.code, exit_code::ok);
    EXPECT_THAT(first.text, HasSubstr("2 fragments, 0 sent again"));
    EXPECT_EQ(service.file().size(), read_text(file).size());
    EXPECT_EQ(cli::json::parse(vela(send + " --json").text)["already_there"], true);
    EXPECT_THAT(vela(send).text, HasSubstr("nothing was sent"));
    service.on(9, {.ack = TFR_UPDATE_MD5_CHECK_FAIL});
    const outcome_t refused = vela(send + " --force --json");
    EXPECT_EQ(service.story(), "s 0 1 f s s s 0 1 f");
    EXPECT_EQ(refused.code, exit_code::verification);
    EXPECT_EQ(cli::json::parse(refused.text)["service_code"], TFR_UPDATE_MD5_CHECK_FAIL);
    EXPECT_EQ(vela(send + " --rate 0").code, exit_code::usage);
    EXPECT_EQ(vela(send + " --as nobody").code, exit_code::usage);
}

TEST(Tool, RestrictionsThatAreNoneAreSaidAndWriteNothing)
{
    const Bus bus;
    const std::string text = bus.directory() + "/areas.geojson";
    const std::string file = bus.directory() + "/tfr.bin";
    std::ofstream(text) << R"({"type": "FeatureCollection", "features": [{"type": "Feature", "properties": {"id": -1},
        "geometry": {"type": "Point", "coordinates": [200, 0]}}]})";
    const outcome_t refused = vela("tfr make " + text + " -o " + file);
    EXPECT_EQ(refused.code, exit_code::bad_input);
    EXPECT_THAT(refused.text, HasSubstr("5 problems\n  feature 1: \"id\" is -1"));
    EXPECT_FALSE(std::ifstream(file).good());
    const auto listed = cli::json::parse(vela("tfr make " + text + " -o " + file + " --json").text);
    EXPECT_EQ(listed["problems"].size(), 5u);
    EXPECT_EQ(listed["problems"][0]["feature"], 1);
    std::ofstream(text) << "{\n\n,";
    EXPECT_THAT(vela("tfr make " + text + " -o " + file).text, HasSubstr("areas.geojson:3:1: syntax error"));

    EXPECT_EQ(vela("tfr make " SAMPLE_AREAS " -o " + file + " --uid 12").code, exit_code::usage);
    vela("tfr make " SAMPLE_AREAS " -o " + file);
    std::ofstream(file, std::ios::app) << "x";
    for (const char* command : {"inspect ", "nearest ", "send --route /no/such/file "}) {
        const std::string position = *command == 'n' ? " 0 0" : "";
        EXPECT_EQ(vela("tfr " + std::string(command) + file + position).code, exit_code::bad_input) << command;
    }
    std::ofstream(file).seekp(65536 * 255) << "x";
    EXPECT_THAT(vela("tfr send --unchecked " + file).text, HasSubstr("65536 fragments of 255 bytes"));
}

TEST(Tool, EveryHelpHasAnExample)
{
    for (const char* command :
         {"", "version", "nfz", "nfz make", "nfz inspect", "nfz send", "nfz read", "tfr", "tfr make", "tfr inspect",
          "tfr send", "tfr nearest", "fc", "bus", "bus watch", "bus stats", "demo"}) {
        const outcome_t help = vela(std::string(command) + " --help");
        EXPECT_EQ(help.code, exit_code::ok) << command;
        EXPECT_THAT(help.text, HasSubstr("Example: ")) << command;
    }
}

TEST(Tool, ExitCodesInTheGuideAreThoseOfTheTool)
{
    const std::string guide = read_text(TOOL_GUIDE);
    for (const cli::exit_code_row_t& row : cli::EXIT_CODES) {
        const std::string line =
            "| " + std::to_string(static_cast<int>(row.code)) + " | `" + row.name + "` | " + row.meaning + " |";
        EXPECT_THAT(guide, HasSubstr(line));
    }
    std::istringstream lines(guide);
    size_t rows = 0;
    for (std::string line; std::getline(lines, line);) {
        const size_t digits = line.find_first_not_of("0123456789", 2);
        if (line.starts_with("| ") && digits > 2 && digits != line.npos && line.compare(digits, 4, " | `") == 0) rows++;
    }
    EXPECT_EQ(rows, cli::EXIT_CODES.size()) << "a row for a code that the tool does not know";
}

TEST(Units, ReadAndWriteSizes)
{
    EXPECT_EQ(cli::parse_size("4096"), 4096u);
    EXPECT_EQ(cli::parse_size("512k"), 524288u);
    EXPECT_EQ(cli::parse_size("1MiB"), 1048576u);
    for (const char* wrong : {"", "k", "1T", "-1", "1 M", "1Mx", "99999999999999999999"}) {
        EXPECT_FALSE(cli::parse_size(wrong)) << wrong;
    }
    EXPECT_EQ(cli::size_text(980), "980 bytes");
    EXPECT_EQ(cli::size_text(1u << 20), "1.0 MiB");
    EXPECT_EQ(cli::duration_text(0.34), "340 ms");
    EXPECT_EQ(cli::duration_text(185), "3:05 min");
    EXPECT_EQ(cli::parse_number("0x1f", 255), 31u);
    EXPECT_FALSE(cli::parse_number("256", 255));
}

cli::tap_record_t copy_of_message(uint16_t seq_id, uint8_t direction)
{
    cli::tap_record_t copy = {};
    copy.head.from = 0x0200;
    copy.head.to = 0x1106;
    copy.head.direction = direction;
    copy.event.msg_id = 9;
    copy.event.seq_id = seq_id;
    return copy;
}

TEST(WatchFilter, ShowsEachMessageOnceWhicheverCopyComesFirst)
{
    cli::failure_t failure;
    auto filter = cli::WatchFilter::make({}, {}, failure);
    ASSERT_TRUE(filter);
    EXPECT_TRUE(filter->shows(copy_of_message(1, 0)));
    EXPECT_FALSE(filter->shows(copy_of_message(1, 1)));
    EXPECT_TRUE(filter->shows(copy_of_message(2, 1)));
    EXPECT_FALSE(filter->shows(copy_of_message(2, 0)));
    EXPECT_TRUE(filter->shows(copy_of_message(2, 0))) << "sent again";
    auto chosen = cli::WatchFilter::make({"0x0306", "", "", false}, {}, failure);
    ASSERT_TRUE(chosen);
    EXPECT_FALSE(chosen->shows(copy_of_message(3, 0)));
    EXPECT_FALSE(cli::WatchFilter::make({"", "300", "", false}, {}, failure));
    EXPECT_EQ(failure.code, exit_code::usage);
}

}  // namespace
