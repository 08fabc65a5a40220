// The command groups: each adds itself to the tool and runs from the callback of its subcommand.
#pragma once

#include <string>

#include "failure.h"

namespace CLI {
class App;
}

namespace cli {

void add_version_command(CLI::App& tool, context_t& context);
void add_nfz_commands(CLI::App& tool, context_t& context);
void add_tfr_commands(CLI::App& tool, context_t& context);
void add_afqt_commands(CLI::App& tool, context_t& context);
void add_fc_command(CLI::App& tool, context_t& context);
void add_bus_commands(CLI::App& tool, context_t& context);
void add_demo_command(CLI::App& tool, context_t& context);

// Commands that are programs of their own beside this one: for the list of commands.
void add_programs_beside(CLI::App& tool);

// The program that such a command is, for example "vela-fly"; null when it is none.
const char* program_beside(const std::string& command);

// Runs it with these arguments, which end with a null, in place of this process. Returns on failure only.
exit_code hand_over(const context_t& context, const std::string& program, char** arguments);

// A subcommand with --json, and with an example at the end of its help.
CLI::App* add_command(CLI::App& parent, context_t& context, const std::string& name, const std::string& description,
                      const std::string& example);

// --route, for commands that use the bus.
void add_route_option(CLI::App& command, context_t& context);

// --as, with the endpoint that the command is otherwise.
void add_as_option(CLI::App& command, std::string& as);

}  // namespace cli
