// Pages that open without a network: everything they need stands in them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "failure.h"

namespace cli {

struct page_part_t {
    std::string_view name;
    std::string_view text;
};

// Puts each part where the page says @@name@@, and `data` where it says @@data@@: the content of a script of type
// application/json.
std::string filled_page(std::string_view page, const std::vector<page_part_t>& parts, const json& data);

// The parts that every page with a map has.
std::vector<page_part_t> map_parts();

}  // namespace cli
