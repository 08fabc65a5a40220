// The tool as people call it: what it prints, and how it ends.
#include <fstream>
#include <nlohmann/json.hpp>

#include "exit_codes.h"
#include "peer_fixture.h"
#include "tfr_wire.h"
#include "units.h"
#include "watch_filter.h"

namespace {

using cli::exit_code;
using cli::json;
using testing::HasSubstr;

class Tool : public testing::Test {
protected:
    static void expect(const std::string& arguments, exit_code code, const char* text = "")
    {
        const tool_run_t run = vela(arguments);
        EXPECT_EQ(run.code, code) << arguments;
        EXPECT_THAT(run.text, HasSubstr(text)) << arguments;
    }

    static json json_of(const std::string& arguments) { return json::parse(vela(arguments + " --json").text); }

    Bus bus;
    const std::string route = " --route " + bus.routes();
    const std::string file = bus.path("file.bin");
    const std::string again = bus.path("again.bin");
};

TEST_F(Tool, EndsWithADifferentCodePerKindOfFailure)
{
    const std::pair<std::string, exit_code> cases[] = {
        {"nfz make -o x --version 2.0", exit_code::usage},
        {"nfz make -o x --version 2.0.0.1 --size 10", exit_code::usage},
        {"nfz make -o /no/such/directory/x --version 2.0.0.1", exit_code::output},
        {"nfz inspect /no/such/file", exit_code::bad_input},
        {"nonsense", exit_code::usage},
        {"version --as nonsense" + route, exit_code::usage},
        {"version --route /no/such/file", exit_code::configuration},
        {"bus watch" + route, exit_code::configuration},  // no tap in that configuration
        {"tfr make " SAMPLE_AREAS " -o " + file + " --uid 12", exit_code::usage},
    };
    for (const auto& [arguments, code] : cases)
        expect(arguments, code);
    expect("version" + route, exit_code::unreachable);
    EXPECT_EQ(json_of("version" + route)["error"]["name"], "unreachable");
    const auto taken = bus.endpoint("factory", "station");
    expect("version" + route, exit_code::address_in_use);
}

TEST_F(Tool, MakesADatabaseSendsItAndReadsItBack)
{
    ScriptedService service(bus);
    expect("nfz make -o " + file + " --version 2.0.0.1 --size 64k", exit_code::ok);
    EXPECT_EQ(text_of(file).size(), 65536u);
    const json found = json_of("nfz inspect " + file);
    EXPECT_EQ(found["head"]["version"], "2.0.0.1");
    EXPECT_EQ(found["kept"], true);
    expect("nfz send " + file + route, exit_code::ok);
    expect("nfz read -o " + again + route, exit_code::ok);
    EXPECT_EQ(text_of(again), text_of(file));
    expect("nfz read --offset 0 --length 16" + route, exit_code::ok, "00000000  6e 6f 2d 66");

    service.holds(std::vector<uint8_t>(1000, 7));
    expect("nfz read" + route, exit_code::verification);
    expect("nfz send " + file + route, exit_code::refused_older, "newer database");
    service.holds({});
    service.follow({{69, {.code = UPGRADE_RET_FILE_MD5}}});  // behind entry, start and 67 blocks
    expect("nfz send " + file + route, exit_code::verification);

    std::ofstream(file, std::ios::app) << "x";
    expect("nfz inspect " + file, exit_code::bad_input, "discards it");
    expect("nfz send " + file + route, exit_code::bad_input, "Nothing was sent");
}

TEST_F(Tool, RestrictionsGoThroughTheToolByteForByteAndOntoMaps)
{
    const std::string uid = "000102030405060708090a0b0c0d0e0f";
    expect("tfr make " SAMPLE_AREAS " -o " + file, exit_code::ok, "6 areas (3 circles, 3 polygons)");
    for (const std::string& make : {std::string(), " --uid " + uid}) {
        expect("tfr make " SAMPLE_AREAS " -o " + file + make, exit_code::ok, "computed from the corners");
        expect("tfr inspect " + file + " --geojson | " VELA_PROGRAM " tfr make - -o " + again, exit_code::ok);
        EXPECT_EQ(text_of(again), text_of(file));
    }
    const json shown = json_of("tfr inspect " + file);
    EXPECT_EQ(shown["uid"], uid);
    EXPECT_EQ(shown["areas"].size(), 6u);
    EXPECT_EQ(shown["areas"][4]["radius"], 3200);

    const json nearest = json_of("tfr nearest " + file + " 48.137154 11.576124")["nearest"];
    EXPECT_EQ(nearest.size(), 5u);
    EXPECT_EQ(nearest[0]["id"], 260701);
    EXPECT_NEAR(nearest[0]["distance"].get<double>(), -849, 1) << "50 m east of its center";
    expect("tfr nearest " + file + " -48 -11.5", exit_code::ok, "at -48.000000, -11.500000");

    const std::string page = bus.path("map.html");
    expect("tfr map " SAMPLE_AREAS " --geojson -o " + page + " --at 48.137154 11.576124", exit_code::ok, "6 areas");
    const std::string text = text_of(page);
    const size_t begin = text.find(R"(id="data">)") + 10;
    const json mapped = json::parse(text.substr(begin, text.find("</script>", begin) - begin))["areas"];
    ASSERT_EQ(mapped.size(), 6u);
    EXPECT_EQ(mapped[0]["place"], 1);
    EXPECT_NEAR(mapped[0]["distance"].get<double>(), -849, 1);
    EXPECT_FALSE(mapped[1].contains("place")) << "the sixth";
    expect("tfr map " SAMPLE_AREAS " -o " + page, exit_code::bad_input, "--geojson");
    expect("tfr map " SAMPLE_AREAS " --geojson -o /no/such/folder/x", exit_code::output);
}

TEST_F(Tool, SendsRestrictionsOnce)
{
    ScriptedService service(bus);
    const std::string send = "tfr send " + file + route;
    vela("tfr make " SAMPLE_AREAS " -o " + file);
    expect(send, exit_code::ok, "2 fragments, 0 sent again");
    EXPECT_EQ(service.areas().size(), text_of(file).size());
    EXPECT_EQ(json_of(send)["already_there"], true);
    expect(send, exit_code::ok, "nothing was sent");
    EXPECT_EQ(service.story(), "s 0 1 f s s");
    service.follow({{3, {.code = TFR_UPDATE_MD5_CHECK_FAIL}}});
    expect(send + " --force --json", exit_code::verification, "\"service_code\": 8");
    EXPECT_EQ(service.story(), "s 0 1 f");
    expect(send + " --rate 0", exit_code::usage);
    expect(send + " --as nobody", exit_code::usage);
}

TEST_F(Tool, RestrictionsThatAreNoneAreSaidAndWriteNothing)
{
    const std::string areas = bus.path("areas.geojson");
    const std::string make = "tfr make " + areas + " -o " + file;
    std::ofstream(areas) << R"({"type": "FeatureCollection", "features": [{"type": "Feature", "properties": {"id": -1},
        "geometry": {"type": "Point", "coordinates": [200, 0]}}]})";
    expect(make, exit_code::bad_input, "5 problems\n  feature 1: \"id\" is -1");
    EXPECT_FALSE(std::ifstream(file).good());
    const json problems = json_of(make)["problems"];
    EXPECT_EQ(problems.size(), 5u);
    EXPECT_EQ(problems[0]["feature"], 1);
    std::ofstream(areas) << "{\n\n,";
    expect(make, exit_code::bad_input, "areas.geojson:3:1: syntax error");

    vela("tfr make " SAMPLE_AREAS " -o " + file);
    std::ofstream(file, std::ios::app) << "x";
    for (const std::string& command : {"inspect " + file, "nearest " + file + " 0 0", "send " + file + route})
        expect("tfr " + command, exit_code::bad_input);
    std::ofstream(file).seekp(65536L * 255) << "x";
    expect("tfr send --unchecked " + file, exit_code::bad_input, "65536 fragments of 255 bytes");
}

TEST_F(Tool, EveryHelpHasAnExampleAndEveryExitCodeIsInTheGuide)
{
    for (const char* command : {"",    "version",  "nfz",         "nfz make", "nfz inspect", "nfz send",  "nfz read",
                                "tfr", "tfr make", "tfr inspect", "tfr send", "tfr nearest", "tfr map",   "afqt report",
                                "fc",  "fc log",   "station",     "bus",      "bus watch",   "bus stats", "demo"}) {
        expect(std::string(command) + " --help", exit_code::ok, "Example: ");
    }
    std::string table;
    for (const cli::exit_code_row_t& row : cli::EXIT_CODES)
        table += "| " + std::to_string(static_cast<int>(row.code)) + " | `" + row.name + "` | " + row.meaning + " |\n";
    EXPECT_THAT(text_of(TOOL_GUIDE), HasSubstr(table + "\n")) << "the whole table and nothing behind it";
}

TEST(Units, ReadAndWriteSizes)
{
    EXPECT_EQ(cli::parse_size("4096"), 4096u);
    EXPECT_EQ(cli::parse_size("512k"), 524288u);
    EXPECT_EQ(cli::parse_size("1MiB"), 1048576u);
    for (const char* wrong : {"", "k", "1T", "-1", "1 M", "1Mx", "99999999999999999999"})
        EXPECT_FALSE(cli::parse_size(wrong)) << wrong;
    EXPECT_EQ(cli::size_text(980), "980 bytes");
    EXPECT_EQ(cli::size_text(1u << 20), "1.0 MiB");
    EXPECT_EQ(cli::duration_text(0.34), "340 ms");
    EXPECT_EQ(cli::duration_text(185), "3:05 min");
    EXPECT_EQ(cli::parse_number("0x1f", 255), 31u);
    EXPECT_FALSE(cli::parse_number("256", 255));
}

TEST(WatchFilter, ShowsEachMessageOnceWhicheverCopyComesFirst)
{
    const auto copy = [](uint16_t seq_id, uint8_t direction) {
        cli::tap_record_t one = {{0, 0x0200, 0x1106, direction, {}}, {}};
        one.event.msg_id = 9;
        one.event.seq_id = seq_id;
        return one;
    };
    cli::failure_t failure;
    auto filter = cli::WatchFilter::make({}, {}, failure).value();
    EXPECT_TRUE(filter.shows(copy(1, 0)));
    EXPECT_FALSE(filter.shows(copy(1, 1)));
    EXPECT_TRUE(filter.shows(copy(2, 1)));
    EXPECT_FALSE(filter.shows(copy(2, 0)));
    EXPECT_TRUE(filter.shows(copy(2, 0))) << "sent again";
    auto chosen = cli::WatchFilter::make({"0x0306", "", "", false}, {}, failure).value();
    EXPECT_FALSE(chosen.shows(copy(3, 0)));
    EXPECT_FALSE(cli::WatchFilter::make({"", "300", "", false}, {}, failure));
    EXPECT_EQ(failure.code, exit_code::usage);
}

}  // namespace
