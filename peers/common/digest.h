// MD5, and bytes in hexadecimal.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "common/records.h"

namespace peers {

inline constexpr size_t MD5_SIZE = 16;
using md5_digest_t = std::array<uint8_t, MD5_SIZE>;

md5_digest_t md5_of(bytes_view bytes);
std::string hex_text(bytes_view bytes);  // lower case, no separators

}  // namespace peers
