// What a flight's process tells the one that started it, line by line: news while it flies, then its result.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "failure.h"
#include "fly/variation.h"
#include "world/flight_run.h"

namespace cli {

struct flight_news_t {
    afqt_heart_beat_t beat;
    double seconds;
};

std::string news_line(const flight_news_t& news);
std::optional<flight_news_t> read_news(const std::string& line);  // none: another kind of line

// The result as --json shows it, and as the last line.
json flight_json(uint64_t seed, const drawn_t& drawn, const sim::flight_end_t& end);

// The report within a result.
peers::test_report_t report_of(const json& flight);

}  // namespace cli
