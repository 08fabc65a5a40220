// vela fc: a simulated flight controller that tells what it is asked for.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <numbers>

#include "bus_access.h"
#include "command.h"
#include "common/clock.h"
#include "fc_events.h"
#include "fc_log.h"
#include "flight_controller/flight_controller.h"
#include "flight_controller/flight_log.h"
#include "units.h"
#include "waiter.h"

namespace cli {
namespace {

constexpr double RADIANS = std::numbers::pi / 180;

struct options_t {
    std::string as = "flight_controller/fmu";
    double latitude = 48.137154;
    double longitude = 11.576124;
    float altitude = 0;
    uint8_t gps_level = 5;
    std::string state = "ground";
    std::optional<double> seconds;
    bool all = false;
    // Of an aircraft that flies.
    bool fly = false;
    std::vector<double> wind;  // speed, where it comes from (degrees), gusts
    bool noise = false;
    uint64_t seed = 1;
    std::string log;
};

uint8_t fsm_of(const std::string& state)
{
    if (state == "ground") return 1;
    return state == "air" ? 2 : 0;
}

peers::aircraft_state_t state_of(const options_t& options)
{
    peers::aircraft_state_t state;
    state.latitude = options.latitude * RADIANS;
    state.longitude = options.longitude * RADIANS;
    state.altitude = options.altitude;
    state.gps_level = options.gps_level;
    state.fsm = fsm_of(options.state);
    return state;
}

// Winds are named by where they come from.
peers::wind_t wind_of(const std::vector<double>& numbers)
{
    peers::wind_t wind;
    if (numbers.empty()) return wind;
    const double from = numbers.size() > 1 ? numbers[1] * RADIANS : 0;
    wind.mean = peers::turned({-numbers[0], 0}, from);
    if (numbers.size() > 2) wind.gusts = numbers[2];
    return wind;
}

peers::aircraft_config_t aircraft_of(const options_t& options)
{
    peers::aircraft_config_t aircraft;
    aircraft.ground_altitude = static_cast<double>(options.altitude);
    aircraft.wind = wind_of(options.wind);
    aircraft.noise = options.noise;
    aircraft.seed = options.seed;
    return aircraft;
}

peers::flight_options_t flight_of(const options_t& options, peers::FlightLog* log)
{
    peers::flight_options_t flight;
    flight.aircraft = aircraft_of(options);
    flight.latitude = options.latitude * RADIANS;
    flight.longitude = options.longitude * RADIANS;
    if (log != nullptr) flight.observer = [log](const peers::flight_row_t& row) { log->write(row); };
    return flight;
}

std::unique_ptr<peers::FlightController> opened(const options_t& options, const peers::bus_name_t& name,
                                                peers::FlightLog* log, const peers::fc_event_fn& happened,
                                                peers::bus_open_error_t& error)
{
    if (options.fly) {
        auto controller = peers::FlightController::open_flying(name, {}, flight_of(options, log), happened, error);
        if (controller) controller->set_gps_level(options.gps_level);
        return controller;
    }
    auto controller = peers::FlightController::open(name, {}, happened, error);
    if (controller) controller->bags().set_state(state_of(options));
    return controller;
}

void print_start(const options_t& options, uint16_t host)
{
    std::printf("Flight controller %s at %s, %s, %.1f m%s. Ctrl-C ends it.\n", address_text(host).c_str(),
                degrees_text(options.latitude * RADIANS).c_str(), degrees_text(options.longitude * RADIANS).c_str(),
                static_cast<double>(options.altitude), options.fly ? ", flies when told to" : "");
    std::fflush(stdout);
}

failure_t unwritable(const options_t& options)
{
    return {exit_code::output, options.log + ": cannot be written: " + std::strerror(errno), ""};
}

// Announcements come again and again; only a change is news.
bool is_shown(const options_t& options, const peers::fc_event_t& event)
{
    return options.all || event.kind != peers::fc_event_kind::announcement || event.heard.changed;
}

// The aircraft hears on the bus which motion is flown; its record gets that from here.
void wait_for_end(Waiter& waiter, const options_t& options, peers::FlightController& controller, peers::FlightLog* log)
{
    std::optional<std::chrono::milliseconds> bound;
    if (options.seconds) bound = std::chrono::milliseconds(static_cast<int64_t>(*options.seconds * 1000));
    if (log == nullptr) {
        waiter.wait(bound);
        return;
    }
    const auto look = [&] {
        if (const auto beat = controller.aircraft()->heartbeat()) log->hear(*beat);
        return false;
    };
    waiter.wait_until(look, bound.value_or(std::chrono::hours(24 * 365)));
}

exit_code run(const context_t& context, const options_t& options)
{
    const std::optional<peers::bus_name_t> name = bus_name(context.route, options.as);
    if (!name) return report(context, bad_bus_name(options.as));
    std::unique_ptr<peers::FlightLog> log;
    if (!options.log.empty()) log = peers::FlightLog::create(options.log, aircraft_of(options));
    if (!options.log.empty() && !log) return report(context, unwritable(options));
    Waiter waiter;
    const uint64_t start = peers::now_us();
    peers::bus_open_error_t error;
    const auto controller = opened(
        options, *name, log.get(),
        [&, start](const peers::fc_event_t& event) {
            if (is_shown(options, event)) print_event(context, start, event);
        },
        error);
    if (!controller) return report(context, explain_open_error(*name, error));
    if (!context.as_json) print_start(options, controller->endpoint().host());
    wait_for_end(waiter, options, *controller, log.get());
    controller->stop();
    print_summary(context, *controller, static_cast<double>(peers::now_us() - start) / 1e6);
    if (log && !log->close()) return report(context, unwritable(options));
    return exit_code::ok;
}

void add_flight_options(CLI::App& command, options_t& options, CLI::Option* state)
{
    CLI::Option* fly =
        command.add_flag("--fly", options.fly, "be an aircraft that flies, from the ground")->excludes(state);
    command
        .add_option("--wind", options.wind, "m/s; then, if wanted, where it comes from in degrees, and gusts in m/s")
        ->expected(1, 3)
        ->needs(fly);
    command.add_flag("--noise", options.noise, "its sensors are noisy")->needs(fly);
    command.add_option("--seed", options.seed, "another one gives other noise and gusts")
        ->needs(fly)
        ->capture_default_str();
    command.add_option("--log", options.log, "write the flight record, 200 rows a second, to this ULog file")
        ->needs(fly);
}

}  // namespace

void add_fc_command(CLI::App& tool, context_t& context)
{
    CLI::App* command = add_command(tool, context, "fc", "be a simulated flight controller until Ctrl-C",
                                    "vela fc --lat 48.1372 --lon 11.5761 --state air --alt 30");
    const auto options = std::make_shared<options_t>();
    add_route_option(*command, context);
    add_as_option(*command, options->as);
    command->add_option("--lat", options->latitude, "latitude, degrees")
        ->check(CLI::Range(-90.0, 90.0))
        ->capture_default_str();
    command->add_option("--lon", options->longitude, "longitude, degrees")
        ->check(CLI::Range(-180.0, 180.0))
        ->capture_default_str();
    command->add_option("--alt", options->altitude, "altitude, metres")->capture_default_str();
    command->add_option("--gps-level", options->gps_level, "quality of the fix, 0 to 5; 3 and above is usable")
        ->check(CLI::Range(0, 5))
        ->capture_default_str();
    CLI::Option* state = command->add_option("--state", options->state, "off, ground or air")
                             ->check(CLI::IsMember({"off", "ground", "air"}))
                             ->capture_default_str();
    command->add_option("--seconds", options->seconds, "end by itself after so many seconds");
    command->add_flag("--all", options->all, "show every announcement, not only changes of the version");
    add_flight_options(*command, *options, state);
    add_fc_log(*command, context);
    command->callback([&context, options, command] {
        if (command->get_subcommands().empty()) context.result = run(context, *options);
    });
}

}  // namespace cli
