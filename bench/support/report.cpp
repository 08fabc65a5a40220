#include "report.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

namespace bench {
namespace {

// The value of the first line "key : value" of a file in /proc.
std::string read_field(const char* path, const std::string& key)
{
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.rfind(key, 0) != 0) continue;
        const size_t value = line.find_first_not_of(": \t", line.find(':'));
        return value == std::string::npos ? "" : line.substr(value);
    }
    return "unknown";
}

std::string or_dash(const std::optional<double>& number)
{
    if (!number) return "-";
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", *number);
    return text;
}

std::string met_text(const row& one)
{
    const auto met = one.met();
    return !met ? "-" : *met ? "yes" : "NO";
}

nlohmann::ordered_json or_null(const std::optional<double>& number)
{
    return number ? nlohmann::ordered_json(*number) : nlohmann::ordered_json(nullptr);
}

}  // namespace

summary summarise(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const auto rank = static_cast<size_t>(std::ceil(0.99 * static_cast<double>(values.size())));
    return {values[values.size() / 2], values[rank - 1]};
}

std::optional<bool> row::met() const
{
    if (!goal) return std::nullopt;
    return ratio.value_or(value) <= *goal;
}

std::vector<std::pair<std::string, std::string>> describe_machine()
{
    utsname system{};
    ::uname(&system);
    return {
        {"cpu", read_field("/proc/cpuinfo", "model name")},
        {"cores", std::to_string(::sysconf(_SC_NPROCESSORS_ONLN))},
        {"memory", read_field("/proc/meminfo", "MemTotal")},
        {"kernel", std::string(system.sysname) + " " + system.release + " " + system.machine},
        {"compiler", __VERSION__},
    };
}

void report::print(bool as_json) const
{
    if (as_json)
        print_json();
    else
        print_table();
}

void report::print_table() const
{
    for (const auto& [key, value] : describe_machine())
        std::printf("%-9s %s\n", key.c_str(), value.c_str());
    size_t width = 4;
    for (const row& one : rows_)
        width = std::max(width, one.name.size());
    const int name_width = static_cast<int>(width);
    std::printf("\n%-*s  %10s %-6s %7s %7s  %s\n", name_width, "name", "value", "unit", "ratio", "goal", "met");
    for (const row& one : rows_) {
        std::printf("%-*s  %10.2f %-6s %7s %7s  %s\n", name_width, one.name.c_str(), one.value, one.unit.c_str(),
                    or_dash(one.ratio).c_str(), or_dash(one.goal).c_str(), met_text(one).c_str());
    }
}

void report::print_json() const
{
    nlohmann::ordered_json machine = nlohmann::ordered_json::object();
    for (const auto& [key, value] : describe_machine())
        machine[key] = value;
    nlohmann::ordered_json rows = nlohmann::ordered_json::array();
    for (const row& one : rows_) {
        const auto met = one.met();
        rows.push_back({{"name", one.name},
                        {"value", one.value},
                        {"unit", one.unit},
                        {"ratio", or_null(one.ratio)},
                        {"goal", or_null(one.goal)},
                        {"met", met ? nlohmann::ordered_json(*met) : nlohmann::ordered_json(nullptr)}});
    }
    std::printf("%s\n", nlohmann::ordered_json({{"machine", machine}, {"rows", rows}}).dump(2).c_str());
}

}  // namespace bench
