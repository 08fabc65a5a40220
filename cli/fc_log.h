// vela fc log: what a flight record holds, and its rows as a table for other programs.
#pragma once

#include "command.h"

namespace cli {

void add_fc_log(CLI::App& group, context_t& context);

}  // namespace cli
