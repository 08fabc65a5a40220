// `vela fly` as people use it, and the figures that it shows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include <nlohmann/json.hpp>

#include "flight_record/step_response.h"
#include "support/scratch.h"

using nlohmann::json;
using testing::HasSubstr;

namespace {

run_t fly(const std::string& arguments)
{
    return run(VELA_FLY " " + arguments);
}

// The result, behind the news.
json result_of(const run_t& flown)
{
    const size_t begin = flown.text.rfind("\n{\n");
    return json::parse(begin == std::string::npos ? flown.text : flown.text.substr(begin), nullptr, false);
}

const std::string LIST = std::string(EXAMPLES) + "/hover.json";
const std::string STEPS = std::string(EXAMPLES) + "/steps.json";

json without_wall_time(json flight)
{
    flight.erase("wall_seconds");
    return flight;
}

}  // namespace

TEST(Fly, SameSeedIsTheSameFlightAndAnotherIsNot)
{
    const run_t first = fly(LIST + " --json --seed 3 --wind 0:6");
    EXPECT_EQ(first.code, 0) << first.text;
    EXPECT_EQ(result_of(first)["outcome"], "finished");
    EXPECT_THAT(first.text, HasSubstr("\"state_text\":\"lands\""));
    EXPECT_EQ(without_wall_time(result_of(fly(LIST + " --json --seed 3 --wind 0:6"))),
              without_wall_time(result_of(first)));
    EXPECT_NE(result_of(fly(LIST + " --json --seed 4 --wind 0:6"))["wind_m_s"], result_of(first)["wind_m_s"]);
}

TEST(Fly, ManyFlightsSpreadAndTheWorstFliesAgain)
{
    const std::string csv = testing::TempDir() + "flights.csv";
    const run_t many = fly(STEPS + " --json --runs 6 --jobs 2 --seed 10 --wind 0:6 --mass 0.9:1.2 --csv " + csv);
    ASSERT_EQ(many.code, 0) << many.text;
    const json all = json::parse(many.text);
    EXPECT_EQ(all["outcomes"]["finished"], 6);
    ASSERT_EQ(all["flights"].size(), 6u);
    double worst = 0;
    for (const json& flight : all["flights"])
        worst = std::max(worst, flight["landed_m"].get<double>());
    for (const json& spread : all["spread"]) {
        EXPECT_LE(spread["least"], spread["median"]);
        EXPECT_LE(spread["p95"], spread["most"]);
        if (spread["name"] == "landed_m") {
            EXPECT_EQ(spread["most"], worst);
        }
    }
    // As it says, but for the record that it would write.
    std::string replay = all["worst"]["replay"];
    replay = replay.substr(9, replay.find(" --log") - 9);
    EXPECT_EQ(result_of(fly(replay + " --json"))["landed_m"], worst);
    std::ifstream file(csv);
    size_t rows = 0;
    for (std::string line; std::getline(file, line);)
        ++rows;
    EXPECT_EQ(rows, 7u);
}

TEST(Fly, WhatItCannotDoItSays)
{
    const struct {
        std::string arguments;
        int code;
        const char* says;
    } CASES[] = {
        {"", 2, "list is required"},
        {"/nowhere.json", 3, "nowhere.json"},
        {LIST + " --mass 2:1", 2, "a number or a range"},
        {LIST + " --runs 2 --log x.ulg", 2, "--log"},
        {LIST + " --log /nowhere/x.ulg", 1, "cannot be written"},
        {LIST + " --service /nowhere.so", 7, "--service"},
        {"/dev/null", 15, "failed"},
        {LIST + " --no-noise", 15, "after an hour"},
    };
    for (const auto& one : CASES) {
        SCOPED_TRACE(one.arguments);
        const run_t run = fly(one.arguments);
        EXPECT_EQ(run.code, one.code);
        EXPECT_THAT(run.text, HasSubstr(one.says));
    }
}

// A lag of first order behind a square wave, and a step that overshoots by a tenth.
TEST(StepFigures, AreThoseOfKnownResponses)
{
    constexpr double LAG = 0.1;
    std::vector<double> times, commands, lagging, overshooting;
    double value = 0;
    for (int i = 0; i < 8000; ++i) {
        times.push_back(i * 0.001);
        commands.push_back(i < 1000 ? std::nan("") : ((i / 1000) % 2 == 0 ? 2.0 : -2.0));
        if (i >= 1000) value += (commands.back() - value) * (1 - std::exp(-0.001 / LAG));
        lagging.push_back(value);
        overshooting.push_back(1.2 * commands.back());
    }
    const auto lag = peers::measure_steps({times, commands, lagging});
    ASSERT_TRUE(lag);
    EXPECT_EQ(lag->steps, 6u);
    EXPECT_NEAR(*lag->rise_s, LAG * std::log(9), 0.002);
    EXPECT_LT(lag->overshoot, 1e-3);
    EXPECT_EQ(lag->settled_part, 1);
    EXPECT_NEAR(peers::measure_steps({times, commands, overshooting})->overshoot, 0.1, 1e-9);
    const std::vector<double> still(times.size(), 0.0);
    EXPECT_FALSE(peers::measure_steps({times, still, lagging}));
    EXPECT_FALSE(peers::measure_steps({times, commands, still})->rise_s);
}
