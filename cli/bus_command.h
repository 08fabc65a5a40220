// The commands of `vela bus`.
#pragma once

#include "command.h"

namespace cli {

void add_bus_watch(CLI::App& group, context_t& context);
void add_bus_record(CLI::App& group, context_t& context);
void add_bus_replay(CLI::App& group, context_t& context);
void add_bus_dissector(CLI::App& group, context_t& context);
void add_bus_messages(CLI::App& group, context_t& context);
void add_bus_stats(CLI::App& group, context_t& context);

}  // namespace cli
