// vela-station: what `vela station` runs. A program of its own, because it carries a web server that the tool does
// without.
#include <cstdio>
#include <exception>
#include <thread>

#include "bus_access.h"
#include "command.h"
#include "common/clock.h"
#include "console.h"
#include "factory/test_station.h"
#include "station/floor.h"
#include "station/pages.h"
#include "waiter.h"

namespace {

using cli::context_t;
using cli::exit_code;

constexpr auto LOOK = std::chrono::milliseconds(500);
constexpr uint8_t ANY_LIST = 0;  // a switch off names a list, which nobody reads

struct options_t {
    std::string as = "factory/station";
    int port = 8750;
    std::string reports = ".";
};

// Until Ctrl-C.
void serve(cli::PageServer& server, cli::Floor& floor, cli::Waiter& waiter)
{
    std::thread pages([&server] { server.run(); });
    while (waiter.wait(LOOK) != cli::wake::interrupted)
        floor.on_time(peers::now_us());
    server.close();
    pages.join();
}

std::string why_not(kest_result_t result)
{
    return result == 0 ? "" : cli::explain_no_answer(result).what;
}

exit_code run_station(const context_t& context, const options_t& options)
{
    cli::failure_t failure;
    const auto name = cli::bus_name(context.route, options.as);
    if (!name) return cli::report(context, cli::bad_bus_name(options.as));
    const auto routes = cli::read_route_config(context.route, failure);
    if (!routes) return cli::report(context, failure);
    cli::Floor floor;
    cli::Waiter waiter;
    peers::bus_open_error_t error;
    const auto station = peers::TestStation::open(
        *name,
        {[&floor](uint16_t from, const afqt_heart_beat_t& beat) { floor.on_heartbeat(from, beat, peers::now_us()); },
         [&floor](uint16_t from, const afqt_on_off_cmd_t& notice) { floor.on_notice(from, notice); }},
        error);
    if (!station) return cli::report(context, cli::explain_open_error(*name, error));
    cli::PageServer server(
        {options.port, options.reports, [&routes](uint16_t address) { return cli::name_of(*routes, address); },
         [&station](uint16_t address) { return why_not(station->switch_off(ANY_LIST, address)); }},
        floor);
    if (!server.open())
        return cli::report(context, {exit_code::configuration, "port " + std::to_string(options.port) + " is taken",
                                     "Name another one with --port; 0 takes one that is free."});
    const std::string address = "http://localhost:" + std::to_string(server.port()) + "/";
    if (context.as_json)
        cli::print_result({{"address", address}});
    else
        std::printf("%s (this machine only; Ctrl-C ends it)\n", address.c_str());
    std::fflush(stdout);
    serve(server, floor, waiter);
    return exit_code::ok;
}

int run(int argc, char** argv)
{
    context_t context;
    options_t options;
    CLI::App command("A live page for the factory floor, on this machine only.", "vela station");
    command.add_flag("--json", context.as_json, "print JSON instead of text");
    cli::add_route_option(command, context);
    cli::add_as_option(command, options.as);
    command.add_option("--port", options.port, "of the page; 0: one that is free")
        ->check(CLI::Range(0, 65535))
        ->capture_default_str();
    command.add_option("--reports", options.reports, "folder with flight reports to show")->capture_default_str();
    command.footer("Example: vela station --reports /srv/flights");
    try {
        command.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return command.exit(error) == 0 ? 0 : static_cast<int>(exit_code::usage);
    }
    return static_cast<int>(run_station(context, options));
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        cli::Waiter::block_signals();
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vela station: %s\n", error.what());
        return static_cast<int>(exit_code::unexpected);
    }
}
