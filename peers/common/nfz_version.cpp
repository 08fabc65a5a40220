#include "common/nfz_version.h"

#include <charconv>

namespace peers {

std::string version_text(const nfz_version_t& version)
{
    std::string text = std::to_string(version[0]);
    for (size_t i = 1; i < version.size(); i++)
        text += "." + std::to_string(version[i]);
    return text;
}

std::optional<nfz_version_t> parse_version(std::string_view text)
{
    nfz_version_t version = {};
    const char* at = text.data();
    const char* const end = at + text.size();
    for (size_t i = 0; i < version.size(); i++) {
        if (i > 0 && (at == end || *at++ != '.')) return std::nullopt;
        const auto [next, error] = std::from_chars(at, end, version[i]);
        if (error != std::errc{}) return std::nullopt;
        at = next;
    }
    if (at != end) return std::nullopt;
    return version;
}

}  // namespace peers
