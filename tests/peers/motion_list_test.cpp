// The checker of motion lists: what it says of a list with one fault, and how the tool tells it.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "failure.h"
#include "motion_list/list_check.h"
#include "motion_list/near_word.h"
#include "peer_fixture.h"

namespace {

using cli::exit_code;
using cli::json;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const std::string GOOD = text_of(LIST_FAULTS "/sound_list.json");  // one of each, without a fault

// Line, column and severity, path and rule of each finding.
std::vector<std::string> lines_of(const peers::list_check_t& check)
{
    std::vector<std::string> lines;
    for (const peers::finding_t& one : check.findings) {
        lines.push_back(std::to_string(one.place.line) + ":" + std::to_string(one.place.column) + " " +
                        peers::severity_text(one.level) + " " + one.path + ": " + one.rule);
    }
    return lines;
}

std::string replaced(std::string text, const std::string& from, const std::string& to)
{
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

TEST(MotionList, EachFaultIsToldWhereItIs)
{
    EXPECT_THAT(lines_of(peers::check_motion_list(GOOD)), IsEmpty());
    const json faults = json::parse(text_of(LIST_FAULTS "/list_faults.json"));
    for (const json& fault : faults) {
        auto lines = lines_of(peers::check_motion_list(replaced(GOOD, fault["from"], fault["to"])));
        // Places leave out the "para_cfg" between a motion and its parameter.
        for (std::string& line : lines) {
            const size_t at = line.find(".para_cfg.");
            if (at < line.find(": ")) line.erase(at, std::strlen(".para_cfg"));
        }
        const auto told =
            AllOf(StartsWith(fault["place"].get<std::string>() + ": "), HasSubstr(fault["rule"].get<std::string>()));
        EXPECT_THAT(lines, Contains(told)) << fault["to"];
    }
    EXPECT_GE(faults.size(), 60u);
}

TEST(MotionList, TextsThatTheServiceCannotReadAreToldAsSuch)
{
    const std::string deep(1001, '[');
    const std::pair<std::string, const char*> texts[] = {
        {"", "1:1 error : there is nothing in it"},
        {" \n\n", "1:1 error : there is nothing in it"},
        {"[]", "1:1 error : a motion list has to be one object"},
        {std::string(size_t{4} * 1024 * 1024 + 1, ' '), "1:1 error : more than 4 MiB"},
        {deep, "1:1001 error : nested deeper than 1000 levels"},
        {"\xef\xbb\xbf{\"attribute\": 5}", "1:18 error attribute: it has to be an object"},
        {std::string("{\"a\0b\": 1}", 10), "this is no JSON"},
        {"{\"a\": \"\xff\"}", "1:8 error : this is no JSON"},
    };
    for (const auto& [text, what] : texts)
        EXPECT_THAT(lines_of(peers::check_motion_list(text)), Contains(HasSubstr(what))) << text.substr(0, 40);
    // Every cut and every flipped bit of a list is read without harm.
    for (size_t i = 0; i < GOOD.size(); i++) {
        peers::check_motion_list(GOOD.substr(0, i));
        std::string flipped = GOOD;
        flipped[i] = static_cast<char>(flipped[i] ^ (1 << i % 8));
        peers::check_motion_list(flipped);
    }
}

TEST(MotionList, SamplesHaveNoErrorsAndOnlyTheRepeatWarns)
{
    for (const auto& entry : std::filesystem::directory_iterator(MOTION_LISTS)) {
        const auto check = peers::check_motion_list(text_of(entry.path().string()));
        EXPECT_EQ(check.findings.empty(), entry.path().filename() != "repeat.json") << entry.path();
        EXPECT_EQ(check.count(peers::severity::error), 0u) << entry.path();
    }
}

TEST(MotionList, PredictsTimeAndBounds)
{
    const auto steps = peers::check_motion_list(text_of(MOTION_LISTS "/steps.json"));
    ASSERT_EQ(steps.predictions.size(), 1u) << "no line: all airframes alike";
    const peers::prediction_t& flight = steps.predictions[0].flight;
    EXPECT_TRUE(flight.complete);
    EXPECT_NEAR(flight.seconds, 8 * 3.02 + 3 * 10 + 3 * 15 + 20, 1e-9);
    const auto& most = flight.envelope;
    EXPECT_THAT((std::vector<double>{most.tilt, most.speed, most.heading, most.highest, most.lowest}),
                ElementsAre(8, 2, 20, 0.8, -0.8));
    EXPECT_NEAR(most.farthest, 6, 1e-9) << "2 m/s for 3 s, and back";

    const auto lines = peers::check_motion_list(GOOD);
    ASSERT_EQ(lines.predictions.size(), 2u);
    EXPECT_FALSE(lines.predictions[0].flight.complete) << "a return takes its time";
    // Full height of the height loop, 0.9 m, approached with 1 m/s per metre; 20 degrees/s at 70 % of the stick.
    const auto& line = lines.predictions[1].flight.envelope;
    EXPECT_NEAR(line.turn, 14, 1e-5);
    EXPECT_LT(line.highest, 0.9);
    EXPECT_NEAR(line.farthest, 10, 0.06) << "the distance of the line";
    // 40 % of 20 degrees, scaled by 0.75, is 6 degrees: 2 + 3.7 / 5 m/s.
    EXPECT_NEAR(line.speed, 2.74, 1e-4);
}

TEST(NearWord, FindsTheMisspeltOneOnly)
{
    constexpr std::string_view WORDS[] = {"duration", "amp", "start_num", "end_num"};
    const std::pair<const char*, const char*> cases[] = {{"duraton", "duration"}, {"Duration", "duration"},
                                                         {"ampl", "amp"},         {"time", ""},
                                                         {"end_nun", "end_num"},  {"x", ""}};
    for (const auto& [written, meant] : cases)
        EXPECT_EQ(peers::near_word(written, WORDS), meant) << written;
}

class AfqtCheck : public testing::Test {
protected:
    std::string list_with(const std::string& from, const std::string& to)
    {
        std::string path = bus.path("list.json");
        std::ofstream(path) << replaced(GOOD, from, to);
        return path;
    }

    Bus bus;
};

TEST_F(AfqtCheck, EndsAsTheFindingsSay)
{
    const std::string faulty = list_with("\"amp\": 2,", "\"amp\": 0,");
    EXPECT_EQ(vela("afqt check " + faulty).code, exit_code::ok);
    EXPECT_EQ(vela("afqt check --strict " + faulty).code, exit_code::bad_input);
    EXPECT_THAT(vela("afqt check " + faulty).text,
                HasSubstr("list.json:9:26: warning: motion1.para_cfg.amp is 0: a step"));
    const tool_run_t wrong = vela("afqt check " + list_with("\"duration\": 3}", "\"duration\": 0}"));
    EXPECT_EQ(wrong.code, exit_code::bad_input);
    EXPECT_THAT(wrong.text, HasSubstr("list.json:7:63: error: motion0.para_cfg.duration is 0: the service refuses"));
    EXPECT_THAT(wrong.text, Not(HasSubstr("takes"))) << "no prediction of a list that is not flown so";
    EXPECT_EQ(vela("afqt check /no/such/list").code, exit_code::bad_input);
    EXPECT_EQ(vela("afqt check --drone x " + faulty).code, exit_code::usage);
}

TEST_F(AfqtCheck, TellsScriptsTheSameAndDraws)
{
    const std::string list = list_with("\"yaw_rate\": 20", "\"yaw_rate\": 90");
    const json told = json::parse(vela("afqt check --json " + list).text);
    EXPECT_EQ(told["warnings"], 1) << "the QX520 turns faster";
    EXPECT_EQ(told["findings"][0]["path"], "motion3.para_cfg.yaw_rate");
    EXPECT_EQ(told["findings"][0]["line"], 13);
    EXPECT_EQ(told["entries"][4]["seconds"], json::array({nullptr, nullptr}));
    EXPECT_EQ(told["predictions"][1]["drone"], "QX520");
    EXPECT_NEAR(told["predictions"][0]["at_most"]["turn_deg_s"].get<double>(), 63, 1e-4);
    EXPECT_EQ(json::parse(vela("afqt check --json --drone QX520 " + list).text)["findings"].size(), 0u);

    const std::string picture = bus.path("it's.svg");
    EXPECT_EQ(vela("afqt check --plot \"" + picture + "\" " + list).code, exit_code::ok);
    EXPECT_THAT(text_of(picture), HasSubstr("Turn and heading"));
    EXPECT_EQ(vela("afqt check --plot /no/such/folder/x.svg " + list).code, exit_code::output);
}

// An error in the list used to be found in the air.
TEST_F(AfqtCheck, StartLooksThroughTheListFirst)
{
    const std::string start = "afqt start --no-wait --route " + bus.routes() + " --list ";
    const std::string faulty = list_with("\"duration\": 3}", "\"duration\": 0}");
    EXPECT_EQ(vela(start + faulty).code, exit_code::bad_input);
    EXPECT_THAT(vela(start + faulty).text, HasSubstr("list.json:7:63: error:"));
    EXPECT_EQ(json::parse(vela(start + faulty + " --json").text)["findings"].size(), 1u);
    // Nobody answers on this bus, so whatever goes on ends there.
    EXPECT_EQ(vela(start + faulty + " --force").code, exit_code::unreachable);
    EXPECT_EQ(vela(start + list_with("\"amp\": 2,", "\"amp\": 0,")).code, exit_code::unreachable);
    EXPECT_THAT(vela(start + "/no/such/list").text, HasSubstr("the list is not looked through"));
}

}  // namespace
