// vela afqt report: what a flight was, on one page.
#pragma once

#include "command.h"

namespace cli {

void add_afqt_report(CLI::App& group, context_t& context);

}  // namespace cli
