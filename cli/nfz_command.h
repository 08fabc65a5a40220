// The commands of `vela nfz`, and what they share: reading and writing files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "command.h"
#include "nfz_file/nfz_file.h"

namespace cli {

void add_nfz_make(CLI::App& group, context_t& context);
void add_nfz_inspect(CLI::App& group, context_t& context);
void add_nfz_send(CLI::App& group, context_t& context);
void add_nfz_read(CLI::App& group, context_t& context);

// The whole file; none with `failure` filled when it is missing, unreadable or has 4 GiB or more.
std::optional<std::vector<uint8_t>> read_file(const std::string& path, failure_t& failure);

// Replaces the file in one step, so that nobody finds half of it; "-" is standard output. False with `failure` filled.
bool write_file(const std::string& path, peers::bytes_view bytes, failure_t& failure);

// What the service would say to the file, as JSON.
json report_json(const peers::nfz_report_t& report);

}  // namespace cli
