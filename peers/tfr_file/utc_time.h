// Seconds since 1970 as people write them (RFC 3339).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace peers {

// "2026-07-01T08:00:00Z"
std::string utc_text(uint32_t seconds);

// "2026-07-01T10:00:00+02:00", "2026-07-01t08:00:00.5z" (fractions are dropped). None when it is no such text, no date
// of the calendar, or outside 1970-01-01T00:00:00Z to 2106-02-07T06:28:15Z. No leap seconds.
std::optional<uint32_t> parse_utc(std::string_view text);

}  // namespace peers
