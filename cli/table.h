// Columns that stand below each other.
#pragma once

#include <string>
#include <vector>

namespace cli {

using table_t = std::vector<std::vector<std::string>>;  // rows of cells, the headings first

// Each row indented by two spaces. Cells of a column have the width of the widest; columns whose heading begins with
// '>' (not shown) stand to the right.
void print_table(const table_t& table);

}  // namespace cli
