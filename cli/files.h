// Reading and writing whole files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/records.h"
#include "failure.h"

namespace cli {

// The whole file; "-" is standard input. None with `failure` filled when it is missing, unreadable or has 4 GiB or
// more.
std::optional<std::vector<uint8_t>> read_file(const std::string& path, failure_t& failure);

// Replaces the file in one step, so that nobody finds half of it; "-" is standard output. False with `failure` filled.
bool write_file(const std::string& path, peers::bytes_view bytes, failure_t& failure);

}  // namespace cli
