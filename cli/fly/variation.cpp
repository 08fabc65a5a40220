#include "fly/variation.h"

#include <cstdio>
#include <cstdlib>

#include "platform/random.h"

namespace cli {
namespace {

// Not those that decide in which order things happen.
constexpr uint64_t AIRCRAFT_NUMBERS = 0xa1c4af7;
constexpr double GROUND_ALTITUDE = 519;  // m

std::optional<double> parse_number_up_to(const std::string& text)
{
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0') return std::nullopt;
    return number;
}

double from(const range_t& range, sim::Random& random)
{
    return range.least + (range.most - range.least) * random.unit();
}

}  // namespace

std::optional<range_t> parse_range(const std::string& text)
{
    const size_t colon = text.find(':');
    const auto least = parse_number_up_to(text.substr(0, colon));
    const auto most = colon == std::string::npos ? least : parse_number_up_to(text.substr(colon + 1));
    if (!least || !most || !(*least <= *most)) return std::nullopt;
    return range_t{*least, *most};
}

std::string range_text(const range_t& range)
{
    char text[64];
    if (range.least == range.most)
        std::snprintf(text, sizeof text, "%g", range.least);
    else
        std::snprintf(text, sizeof text, "%g:%g", range.least, range.most);
    return text;
}

drawn_t draw(const variation_t& variation, uint64_t seed)
{
    sim::Random random(seed ^ AIRCRAFT_NUMBERS);
    drawn_t drawn;
    drawn.wind = from(variation.wind, random);
    drawn.wind_from = from({0, 360}, random);
    if (variation.wind_from) drawn.wind_from = *variation.wind_from;
    drawn.aircraft.wind.gusts = from(variation.gusts, random);
    drawn.aircraft.mass = from(variation.mass, random);
    drawn.aircraft.gain = from(variation.gain, random);
    // Winds are named by where they come from.
    drawn.aircraft.wind.mean = peers::turned({-drawn.wind, 0}, drawn.wind_from * peers::RADIANS_PER_DEGREE);
    drawn.aircraft.noise = variation.noise;
    drawn.aircraft.seed = seed;
    drawn.aircraft.ground_altitude = GROUND_ALTITUDE;
    return drawn;
}

}  // namespace cli
