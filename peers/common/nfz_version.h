// Version of a no-fly-zone database: four numbers, most significant first.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace peers {

using nfz_version_t = std::array<uint32_t, 4>;

// "2.0.0.1"
std::string version_text(const nfz_version_t& version);

// Four decimal numbers up to 4294967295 with points between them, nothing else.
std::optional<nfz_version_t> parse_version(std::string_view text);

// From the four bytes of a reply, last number first.
inline nfz_version_t version_from_bytes(const uint8_t (&bytes)[4])
{
    return {bytes[3], bytes[2], bytes[1], bytes[0]};
}

}  // namespace peers
