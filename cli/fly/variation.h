// Which aircraft flies: what was asked for, and what the seed makes of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "flight_controller/aircraft_model.h"

namespace cli {

// A number, or a range from which the seed draws one.
struct range_t {
    double least;
    double most;
};

// "1.5" or "0.9:1.1"; none when it is neither, or the wrong way round.
std::optional<range_t> parse_range(const std::string& text);
std::string range_text(const range_t& range);

struct variation_t {
    range_t wind = {0, 0};            // m/s
    std::optional<double> wind_from;  // degrees; none: the seed draws it
    range_t gusts = {0, 0};           // m/s, standard deviation
    range_t mass = {1, 1};            // factors
    range_t gain = {1, 1};
    bool noise = true;
    uint64_t seed = 1;
};

// One aircraft of the variation. The same seed gives the same aircraft, however many fly.
struct drawn_t {
    peers::aircraft_config_t aircraft;
    double wind = 0;       // m/s
    double wind_from = 0;  // degrees
};
drawn_t draw(const variation_t& variation, uint64_t seed);

}  // namespace cli
