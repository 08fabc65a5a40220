#include "units.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <string_view>

namespace cli {
namespace {

constexpr double KIB = 1024.0;
constexpr const char* SIZE_UNITS[] = {"bytes", "KiB", "MiB", "GiB"};

std::string printed(const char* format, double value, const char* unit)
{
    char text[48];
    std::snprintf(text, sizeof text, format, value, unit);
    return text;
}

// Three digits are enough to compare two sizes at a glance.
std::string scaled(double value, const char* ending)
{
    size_t unit = 0;
    while (value >= KIB && unit + 1 < std::size(SIZE_UNITS)) {
        value /= KIB;
        unit++;
    }
    const std::string name = std::string(SIZE_UNITS[unit]) + ending;
    return printed(unit > 0 && value < 99.5 ? "%.1f %s" : "%.0f %s", value, name.c_str());
}

std::optional<unsigned> shift_of(std::string_view suffix)
{
    if (suffix.empty()) return 0;
    constexpr std::string_view LETTERS = "kmg";
    const size_t at = LETTERS.find(static_cast<char>(suffix[0] | 0x20));
    const std::string_view rest = suffix.substr(1);
    if (at == std::string_view::npos || !(rest.empty() || rest == "iB" || rest == "B")) return std::nullopt;
    return static_cast<unsigned>(10 * (at + 1));
}

}  // namespace

std::string size_text(uint64_t bytes)
{
    return scaled(static_cast<double>(bytes), "");
}

std::string rate_text(double bytes_per_second)
{
    return scaled(bytes_per_second, "/s");
}

std::string duration_text(double seconds)
{
    if (seconds < 0.9995) return printed("%.0f %s", seconds * 1000, "ms");
    if (seconds < 99.95) return printed("%.1f %s", seconds, "s");
    const auto whole = static_cast<long>(std::lround(seconds));
    char text[32];
    std::snprintf(text, sizeof text, "%ld:%02ld min", whole / 60, whole % 60);
    return text;
}

std::string address_text(uint16_t address)
{
    char text[8];
    std::snprintf(text, sizeof text, "0x%04x", address);
    return text;
}

std::string degrees_text(double radians)
{
    return printed("%.6f%s", radians * 180 / std::numbers::pi, "°");
}

std::optional<uint64_t> parse_size(const std::string& text)
{
    uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, number);
    const std::optional<unsigned> shift = shift_of(std::string_view(at, static_cast<size_t>(end - at)));
    if (error != std::errc{} || !shift || number > (uint64_t{1} << 63 >> *shift)) return std::nullopt;
    return number << *shift;
}

std::optional<uint32_t> parse_number(const std::string& text, uint32_t max)
{
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const char* const begin = text.data() + (hexadecimal ? 2 : 0);
    const char* const end = text.data() + text.size();
    uint32_t number = 0;
    const auto [at, error] = std::from_chars(begin, end, number, hexadecimal ? 16 : 10);
    if (error != std::errc{} || at != end || number > max) return std::nullopt;
    return number;
}

double ratio(uint64_t part, uint64_t whole)
{
    return whole == 0 ? 1.0 : static_cast<double>(part) / static_cast<double>(whole);
}

}  // namespace cli
