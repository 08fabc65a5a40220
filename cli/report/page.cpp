#include "report/page.h"

#include <nlohmann/json.hpp>

#include "page_sources.h"

namespace cli {
namespace {

constexpr std::string_view MARK = "@@";

// A closing tag within a text would end the script that holds the data; JSON allows the backslash.
std::string script_safe(const json& data)
{
    const std::string text = data.dump(-1, ' ', false, json::error_handler_t::replace);
    std::string safe;
    for (size_t i = 0; i < text.size(); i++) {
        const bool opens = text[i] == '<' && i + 1 < text.size() && (text[i + 1] == '/' || text[i + 1] == '!');
        safe += opens ? "\\u003c" : std::string(1, text[i]);
    }
    return safe;
}

std::string_view part_named(const std::vector<page_part_t>& parts, std::string_view name)
{
    for (const page_part_t& part : parts) {
        if (part.name == name) return part.text;
    }
    return {};
}

}  // namespace

std::string filled_page(std::string_view page, const std::vector<page_part_t>& parts, const json& data)
{
    const std::string text = script_safe(data);
    std::string filled;
    for (;;) {
        const size_t begin = page.find(MARK);
        const size_t end = begin == std::string_view::npos ? begin : page.find(MARK, begin + MARK.size());
        filled += page.substr(0, end == std::string_view::npos ? end : begin);
        if (end == std::string_view::npos) return filled;
        const std::string_view name = page.substr(begin + MARK.size(), end - begin - MARK.size());
        filled += name == "data" ? std::string_view(text) : part_named(parts, name);
        page.remove_prefix(end + MARK.size());
    }
}

std::vector<page_part_t> map_parts()
{
    return {{"leaflet_css", page_sources::leaflet_css},
            {"leaflet_js", page_sources::leaflet_js},
            {"common_css", page_sources::common_css},
            {"map_js", page_sources::map_js}};
}

}  // namespace cli
