// vela: the tool people use with the flight service.
#include <CLI/CLI.hpp>
#include <exception>
#include <string>

#include "command.h"
#include "waiter.h"

namespace {

std::string exit_code_help()
{
    std::string text = "Exit codes:\n";
    for (const cli::exit_code_row_t& row : cli::EXIT_CODES) {
        std::string number = std::to_string(static_cast<int>(row.code));
        number.insert(0, 5 - number.size(), ' ');
        text += number + "  " + row.meaning + "\n";
    }
    return text + "\nExample: vela nfz send nfz.bin";
}

int run(int argc, char** argv)
{
    cli::context_t context;
    if (const char* program = argc > 1 ? cli::program_beside(argv[1]) : nullptr)
        return static_cast<int>(cli::hand_over(context, program, argv + 2));
    CLI::App tool("Works with the flight service of an aircraft: databases, restrictions, versions, the bus.", "vela");
    tool.set_version_flag("--version", VELA_VERSION, "version of this tool");
    tool.require_subcommand(1);
    tool.footer(exit_code_help());
    cli::add_version_command(tool, context);
    cli::add_nfz_commands(tool, context);
    cli::add_tfr_commands(tool, context);
    cli::add_afqt_commands(tool, context);
    cli::add_fc_command(tool, context);
    cli::add_programs_beside(tool);
    cli::add_bus_commands(tool, context);
    cli::add_demo_command(tool, context);
    try {
        tool.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return tool.exit(error) == 0 ? 0 : static_cast<int>(cli::exit_code::usage);
    }
    return static_cast<int>(context.result);
}

}  // namespace

int main(int argc, char** argv)
{
    cli::Waiter::block_signals();
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vela: %s\n", error.what());
        return static_cast<int>(cli::exit_code::unexpected);
    }
}
