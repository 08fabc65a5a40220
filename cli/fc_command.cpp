// vela fc: a simulated flight controller that tells what it is asked for.
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <numbers>

#include "bus_access.h"
#include "command.h"
#include "common/clock.h"
#include "console.h"
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

std::string motor_text(const peers::fc_event_t& event)
{
    char text[96];
    std::snprintf(text, sizeof text, "by \"%s\" (id 0x%x, error code 0x%02x)", event.requester.c_str(),
                  event.requester_id, event.error_code);
    return text;
}

std::string bag_text(const peers::fc_event_t& event)
{
    return "bag " + std::to_string(event.bag) + ", " + std::to_string(event.rate_hz) + " Hz, " +
           std::to_string(event.items.size()) + " items, for " + address_text(event.peer);
}

std::string restriction_text(const peers::fc_event_t& event)
{
    if (event.places == 0) return "no restricted area";
    const vela_tfr_item_t& area = event.area;
    char text[160];
    std::snprintf(text, sizeof text, "restricted area %u of %u: id %u, %s of %u m around %.6f, %.6f", event.place + 1u,
                  event.places, area.area_id, area.point_num == 0 ? "circle" : "polygon", area.radius,
                  area.center.lat * 1e-6, area.center.lng * 1e-6);
    return text;
}

std::string mode_text(const peers::fc_event_t& event)
{
    return std::string("mode ") + std::to_string(event.mode) + " (" + peers::mode_name(event.mode) + "), was " +
           std::to_string(event.mode_before) + " (" + peers::mode_name(event.mode_before) + ")";
}

std::string sweep_text(const peers::sweep_request_t& sweep)
{
    char text[128];
    std::snprintf(text, sizeof text, "of loop %u at point %u: %.1f to %.1f Hz in %.0f s, amplitude %.1f",
                  static_cast<unsigned>(sweep.loop), sweep.point, sweep.start_hz, sweep.end_hz, sweep.duration_s,
                  sweep.amplitude);
    return text;
}

std::string text_of(const peers::fc_event_t& event)
{
    using kind = peers::fc_event_kind;
    switch (event.kind) {
        case kind::motor_error_registered:
            return "motor error registered " + motor_text(event);
        case kind::motor_error_refused:
            return "motor error refused to \"" + event.requester + "\"";
        case kind::motor_set_ignored:
            return "motor request ignored: " + address_text(event.peer) + " is not registered";
        case kind::motors_held:
            return styled(style::bad, "motors HELD ") + motor_text(event);
        case kind::motors_released:
            return styled(style::good, "motors released ") + motor_text(event);
        case kind::bags_reset:
            return "subscriptions reset by " + address_text(event.peer);
        case kind::bag_added:
            return "subscribed: " + bag_text(event);
        case kind::bag_deleted:
            return "unsubscribed: bag " + std::to_string(event.bag);
        case kind::bag_rate_changed:
            return "rate changed: " + bag_text(event);
        case kind::bag_refused:
            return "subscription refused: " + bag_text(event);
        case kind::announcement:
            return "database announced: " + peers::version_text(event.heard.version);
        case kind::restriction:
            return restriction_text(event);
        case kind::mode_changed:
            return mode_text(event);
        case kind::took_off:
            return styled(style::good, "took off");
        case kind::landed:
            return "landed, motors off";
        case kind::takeoff_refused:
            return styled(style::bad, "take-off REFUSED") + ": the motors are held";
        case kind::sweep_started:
            return "sweep " + sweep_text(event.sweep);
        case kind::sweep_ended:
            return "sweep ended";
        case kind::sticks_lost:
            return "no sticks: holds its place";
    }
    return peers::event_name(event.kind);
}

json json_of(const peers::sweep_request_t& sweep)
{
    return {{"loop", static_cast<unsigned>(sweep.loop)},
            {"point", sweep.point},
            {"start_hz", sweep.start_hz},
            {"end_hz", sweep.end_hz},
            {"seconds", sweep.duration_s},
            {"amplitude", sweep.amplitude}};
}

json json_of(const peers::flight_counts_t& flight)
{
    return {{"sticks", flight.sticks},
            {"sticks_ignored", flight.sticks_ignored},
            {"commands", flight.commands},
            {"commands_ignored", flight.commands_ignored},
            {"lost_ms", flight.skipped_ms}};
}

json json_of(const peers::fc_event_t& event, double seconds)
{
    json object = {{"seconds", seconds}, {"event", peers::event_name(event.kind)}, {"peer", address_text(event.peer)}};
    using kind = peers::fc_event_kind;
    if (event.kind == kind::announcement) {
        object["version"] = peers::version_text(event.heard.version);
        object["flags"] = event.heard.flags;
        object["number"] = event.heard.number;
    } else if (event.kind == kind::restriction) {
        object["place"] = event.place;
        object["places"] = event.places;
        object["area_id"] = uint32_t{event.area.area_id};
        object["lat_e6"] = int32_t{event.area.center.lat};
        object["lon_e6"] = int32_t{event.area.center.lng};
        object["radius_m"] = uint16_t{event.area.radius};
        object["corners"] = event.area.point_num;
    } else if (event.kind >= kind::mode_changed) {
        object["mode"] = event.mode;
        if (event.kind == kind::mode_changed) object["mode_before"] = event.mode_before;
        if (event.kind == kind::sweep_started) object["sweep"] = json_of(event.sweep);
    } else if (event.kind <= kind::motors_released) {
        object["requester"] = event.requester;
        object["requester_id"] = event.requester_id;
        object["error_code"] = event.error_code;
    } else {
        object["bag"] = event.bag;
        object["rate_hz"] = event.rate_hz;
        object["items"] = event.items;
    }
    return object;
}

// Each line is one print: events come from the endpoint's task, the summary from the main thread.
void print_event(const context_t& context, const options_t& options, uint64_t start_us, const peers::fc_event_t& event)
{
    const bool repeated = event.kind == peers::fc_event_kind::announcement && !event.heard.changed;
    if (repeated && !options.all) return;
    const double seconds = static_cast<double>(event.time_us - start_us) / 1e6;
    if (context.as_json) {
        std::printf("%s\n", json_of(event, seconds).dump(-1, ' ', false, json::error_handler_t::replace).c_str());
    } else {
        std::printf("%10.3f  %s\n", seconds, text_of(event).c_str());
    }
    std::fflush(stdout);
}

void print_flight(const peers::flight_counts_t& flight)
{
    const auto number = [](uint64_t count) { return static_cast<unsigned long long>(count); };
    std::printf("  flown by %llu frames of sticks (%llu ignored) and %llu commands (%llu ignored); %llu ms lost\n",
                number(flight.sticks), number(flight.sticks_ignored), number(flight.commands),
                number(flight.commands_ignored), number(flight.skipped_ms));
}

void print_summary(const context_t& context, peers::FlightController& controller, double seconds)
{
    const peers::motor_counts_t motors = controller.motors().counts();
    const peers::bag_counts_t bags = controller.bags().counts();
    const std::vector<peers::motor_change_t> changes = controller.motors().changes();
    const auto announcement = controller.announcements().last();
    const peers::restrictions_t restrictions = controller.restrictions().now();
    if (context.as_json) {
        json object = {{"seconds", seconds},
                       {"event", "summary"},
                       {"motors_held", controller.motors().held()},
                       {"motor_changes", changes.size()},
                       {"holds", motors.holds},
                       {"releases", motors.releases},
                       {"ignored", motors.ignored},
                       {"pushes", bags.pushed},
                       {"pushes_refused", bags.refused},
                       {"restriction_pushes", restrictions.pushes},
                       {"restricted_areas", restrictions.ids()}};
        object["announcements"] = announcement ? announcement->number : 0;
        object["database"] = announcement ? json(peers::version_text(announcement->version)) : json();
        if (controller.aircraft() != nullptr) object["flight"] = json_of(controller.aircraft()->counts());
        std::printf("%s\n", object.dump().c_str());
        return;
    }
    std::printf("\nAfter %s: motors %s (%zu changes, %u holds, %u releases, %u ignored)\n",
                duration_text(seconds).c_str(), controller.motors().held() ? "held" : "free", changes.size(),
                motors.holds, motors.releases, motors.ignored);
    std::printf("  %llu pushes of data taken, %llu refused\n", static_cast<unsigned long long>(bags.pushed),
                static_cast<unsigned long long>(bags.refused));
    std::printf("  database announced here: %s\n",
                announcement ? peers::version_text(announcement->version).c_str() : "never");
    std::printf("  restricted areas nearby: %u (%llu pushes)\n", restrictions.count,
                static_cast<unsigned long long>(restrictions.pushes));
    if (controller.aircraft() != nullptr) print_flight(controller.aircraft()->counts());
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

peers::flight_options_t flight_of(const options_t& options, peers::FlightLog* log)
{
    peers::flight_options_t flight;
    flight.aircraft.ground_altitude = static_cast<double>(options.altitude);
    flight.aircraft.wind = wind_of(options.wind);
    flight.aircraft.noise = options.noise;
    flight.aircraft.seed = options.seed;
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

exit_code run(const context_t& context, const options_t& options)
{
    const std::optional<peers::bus_name_t> name = bus_name(context.route, options.as);
    if (!name) return report(context, bad_bus_name(options.as));
    std::unique_ptr<peers::FlightLog> log;
    if (!options.log.empty()) log = peers::FlightLog::create(options.log);
    if (!options.log.empty() && !log) return report(context, unwritable(options));
    Waiter waiter;
    const uint64_t start = peers::now_us();
    peers::bus_open_error_t error;
    const auto controller = opened(
        options, *name, log.get(),
        [&, start](const peers::fc_event_t& event) { print_event(context, options, start, event); }, error);
    if (!controller) return report(context, explain_open_error(*name, error));
    if (!context.as_json) print_start(options, controller->endpoint().host());
    std::optional<std::chrono::milliseconds> bound;
    if (options.seconds) bound = std::chrono::milliseconds(static_cast<int64_t>(*options.seconds * 1000));
    waiter.wait(bound);
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
    command.add_option("--log", options.log, "write the flight record, 200 rows a second, to this CSV file")
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
    command->callback([&context, options] { context.result = run(context, *options); });
}

}  // namespace cli
