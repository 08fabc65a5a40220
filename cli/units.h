// Numbers as people write and read them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace cli {

std::string size_text(uint64_t bytes);           // "980 bytes", "1.0 MiB"
std::string rate_text(double bytes_per_second);  // "412 KiB/s"
std::string duration_text(double seconds);       // "340 ms", "2.6 s", "3:05 min"
std::string address_text(uint16_t address);      // "0x0200"
std::string degrees_text(double radians);        // "48.137154°"

// "4096", "512k", "1M", "1MiB" (powers of 1024). None when it is no such text or over 2^63.
std::optional<uint64_t> parse_size(const std::string& text);

// "0x1105" or "4357". None when it is no number up to `max`.
std::optional<uint32_t> parse_number(const std::string& text, uint32_t max);

double ratio(uint64_t part, uint64_t whole);  // 0 to 1; 1 for an empty whole

}  // namespace cli
