// The commands of `vela nfz`, and what they share.
#pragma once

#include "command.h"
#include "files.h"
#include "nfz_file/nfz_file.h"

namespace cli {

void add_nfz_make(CLI::App& group, context_t& context);
void add_nfz_inspect(CLI::App& group, context_t& context);
void add_nfz_send(CLI::App& group, context_t& context);
void add_nfz_read(CLI::App& group, context_t& context);

// What the service would say to the file, as JSON.
json report_json(const peers::nfz_report_t& report);

}  // namespace cli
