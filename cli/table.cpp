#include "table.h"

#include <algorithm>
#include <cstdio>

namespace cli {
namespace {

constexpr char TO_THE_RIGHT = '>';

// Characters, not bytes, of UTF-8.
size_t width_of(const std::string& text)
{
    const auto begins = [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; };
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), begins));
}

std::string padded(const std::string& cell, size_t width, bool right)
{
    const std::string space(width - width_of(cell), ' ');
    return right ? space + cell : cell + space;
}

}  // namespace

void print_table(const table_t& table)
{
    if (table.empty()) return;
    table_t rows = table;
    std::vector<bool> right;
    for (std::string& heading : rows[0]) {
        right.push_back(heading.starts_with(TO_THE_RIGHT));
        if (right.back()) heading.erase(0, 1);
    }
    std::vector<size_t> widths(rows[0].size(), 0);
    for (const auto& row : rows) {
        for (size_t i = 0; i < row.size(); i++)
            widths[i] = std::max(widths[i], width_of(row[i]));
    }
    for (const auto& row : rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); i++)
            line += "  " + padded(row[i], widths[i], right[i]);
        line.erase(line.find_last_not_of(' ') + 1);
        std::printf("%s\n", line.c_str());
    }
}

}  // namespace cli
