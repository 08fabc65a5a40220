#include "command.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace cli {

CLI::App* add_command(CLI::App& parent, context_t& context, const std::string& name, const std::string& description,
                      const std::string& example)
{
    CLI::App* command = parent.add_subcommand(name, description);
    command->add_flag("--json", context.as_json, "print JSON instead of text");
    command->footer("Example: " + example);
    return command;
}

void add_route_option(CLI::App& command, context_t& context)
{
    command.add_option("--route", context.route, "route configuration of the bus")->capture_default_str();
}

void add_as_option(CLI::App& command, std::string& as)
{
    command.add_option("--as", as, "endpoint to be on the bus, as service/endpoint of the route configuration")
        ->capture_default_str();
}

}  // namespace cli
