// vela fc: a simulated flight controller that tells what it is asked for.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <numbers>

#include "bus_access.h"
#include "command.h"
#include "common/clock.h"
#include "console.h"
#include "flight_controller/flight_controller.h"
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
    }
    return peers::event_name(event.kind);
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
}

exit_code run(const context_t& context, const options_t& options)
{
    const std::optional<peers::bus_name_t> name = bus_name(context.route, options.as);
    if (!name) return report(context, bad_bus_name(options.as));
    Waiter waiter;
    const uint64_t start = peers::now_us();
    peers::bus_open_error_t error;
    const auto controller = peers::FlightController::open(
        *name, {}, [&, start](const peers::fc_event_t& event) { print_event(context, options, start, event); }, error);
    if (!controller) return report(context, explain_open_error(*name, error));
    controller->bags().set_state(state_of(options));
    if (!context.as_json) {
        std::printf("Flight controller %s at %s, %s, %.1f m. Ctrl-C ends it.\n",
                    address_text(controller->endpoint().host()).c_str(),
                    degrees_text(options.latitude * RADIANS).c_str(), degrees_text(options.longitude * RADIANS).c_str(),
                    static_cast<double>(options.altitude));
        std::fflush(stdout);
    }
    std::optional<std::chrono::milliseconds> bound;
    if (options.seconds) bound = std::chrono::milliseconds(static_cast<int64_t>(*options.seconds * 1000));
    waiter.wait(bound);
    controller->bags().stop();
    controller->endpoint().stop();
    print_summary(context, *controller, static_cast<double>(peers::now_us() - start) / 1e6);
    return exit_code::ok;
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
    command->add_option("--state", options->state, "off, ground or air")
        ->check(CLI::IsMember({"off", "ground", "air"}))
        ->capture_default_str();
    command->add_option("--seconds", options->seconds, "end by itself after so many seconds");
    command->add_flag("--all", options->all, "show every announcement, not only changes of the version");
    command->callback([&context, options] { context.result = run(context, *options); });
}

}  // namespace cli
