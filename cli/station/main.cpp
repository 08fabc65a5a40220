// vela-station: what `vela station` runs. A program of its own, because it carries a web server that the tool does
// without.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>
#include <vector>

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
    std::vector<std::string> aircraft;  // NAME=ROUTE.json
};

// One bus to listen on: that of this machine, or of an aircraft that a router brings here.
struct bus_t {
    std::string name;  // of the aircraft; empty: there is one bus, and its endpoints say enough
    std::string route;
    cli::route_config_t routes;
    std::unique_ptr<peers::TestStation> station;
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

std::optional<bus_t> named_bus(const std::string& text, const std::vector<bus_t>& others, cli::failure_t& failure)
{
    const size_t sign = text.find('=');
    failure.code = exit_code::usage;
    failure.next = "For example --aircraft a7=/run/tarn-links/a7/vela.json; docs/router.md says how they come there.";
    failure.what = "--aircraft: \"" + text + "\" is no NAME=ROUTE.json";
    if (sign == std::string::npos || sign == 0 || sign + 1 == text.size()) return std::nullopt;
    bus_t bus = {text.substr(0, sign), text.substr(sign + 1), {}, nullptr};
    failure.what = "--aircraft: there are two of the name \"" + bus.name + "\"";
    for (const bus_t& other : others) {
        if (other.name == bus.name) return std::nullopt;
    }
    return bus;
}

std::optional<std::vector<bus_t>> buses_of(const context_t& context, const options_t& options, cli::failure_t& failure)
{
    std::vector<bus_t> buses;
    if (options.aircraft.empty()) buses.push_back({"", context.route, {}, nullptr});
    for (const std::string& text : options.aircraft) {
        auto bus = named_bus(text, buses, failure);
        if (!bus) return std::nullopt;
        buses.push_back(std::move(*bus));
    }
    for (bus_t& bus : buses) {
        const auto routes = cli::read_route_config(bus.route, failure);
        if (!routes) return std::nullopt;
        bus.routes = *routes;
    }
    return buses;
}

// Listens on bus number `number`.
bool open_station(bus_t& bus, uint16_t number, const std::string& as, cli::Floor& floor, cli::failure_t& failure)
{
    const auto name = cli::bus_name(bus.route, as);
    if (!name) {
        failure = cli::bad_bus_name(as);
        return false;
    }
    peers::bus_open_error_t error;
    bus.station = peers::TestStation::open(*name,
                                           {[&floor, number](uint16_t from, const afqt_heart_beat_t& beat) {
                                                floor.on_heartbeat({number, from}, beat, peers::now_us());
                                            },
                                            [&floor, number](uint16_t from, const afqt_on_off_cmd_t& notice) {
                                                floor.on_notice({number, from}, notice);
                                            }},
                                           error);
    if (!bus.station) failure = cli::explain_open_error(*name, error);
    return bus.station != nullptr;
}

std::string name_of(const bus_t& bus, uint16_t address)
{
    const std::string endpoint = cli::name_of(bus.routes, address);
    return bus.name.empty() ? endpoint : bus.name + " · " + endpoint;
}

exit_code run_station(const context_t& context, const options_t& options)
{
    cli::failure_t failure;
    cli::Floor floor;
    cli::Waiter waiter;
    auto buses = buses_of(context, options, failure);
    if (!buses) return cli::report(context, failure);
    uint16_t number = 0;
    for (bus_t& bus : *buses) {
        if (!open_station(bus, number++, options.as, floor, failure)) return cli::report(context, failure);
    }
    // The floor knows only aircraft of these buses.
    cli::PageServer server({options.port, options.reports,
                            [&buses](cli::aircraft_id_t id) { return name_of((*buses)[id.bus], id.address); },
                            [&buses](cli::aircraft_id_t id) {
                                return why_not((*buses)[id.bus].station->switch_off(ANY_LIST, id.address));
                            }},
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
    command
        .add_option("--aircraft", options.aircraft,
                    "NAME=ROUTE.json: an aircraft on a bus of its own, by a router; may be repeated")
        ->excludes("--route");
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
