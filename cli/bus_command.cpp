#include "bus_command.h"

#include <CLI/CLI.hpp>

namespace cli {

void add_bus_commands(CLI::App& tool, context_t& context)
{
    CLI::App* group =
        tool.add_subcommand("bus", "the message bus: watch it, record and replay it, count what was dropped");
    group->require_subcommand(1);
    group->footer("Example: vela bus watch --peer app/phone");
    add_bus_watch(*group, context);
    add_bus_record(*group, context);
    add_bus_replay(*group, context);
    add_bus_dissector(*group, context);
    add_bus_messages(*group, context);
    add_bus_stats(*group, context);
}

}  // namespace cli
