#include "fc_events.h"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "console.h"
#include "units.h"

namespace cli {
namespace {

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

void print_flight(const peers::flight_counts_t& flight)
{
    const auto number = [](uint64_t count) { return static_cast<unsigned long long>(count); };
    std::printf("  flown by %llu frames of sticks (%llu ignored) and %llu commands (%llu ignored); %llu ms lost\n",
                number(flight.sticks), number(flight.sticks_ignored), number(flight.commands),
                number(flight.commands_ignored), number(flight.skipped_ms));
}

json summary_json(peers::FlightController& controller, double seconds)
{
    const peers::motor_counts_t motors = controller.motors().counts();
    const peers::bag_counts_t bags = controller.bags().counts();
    const auto announcement = controller.announcements().last();
    const peers::restrictions_t restrictions = controller.restrictions().now();
    json object = {{"seconds", seconds},
                   {"event", "summary"},
                   {"motors_held", controller.motors().held()},
                   {"motor_changes", controller.motors().changes().size()},
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
    return object;
}

}  // namespace

// Each line is one print: events come from the endpoint's task, the summary from the main thread.
void print_event(const context_t& context, uint64_t start_us, const peers::fc_event_t& event)
{
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
    if (context.as_json) {
        std::printf("%s\n", summary_json(controller, seconds).dump().c_str());
        return;
    }
    const peers::motor_counts_t motors = controller.motors().counts();
    const peers::bag_counts_t bags = controller.bags().counts();
    const auto announcement = controller.announcements().last();
    const peers::restrictions_t restrictions = controller.restrictions().now();
    std::printf("\nAfter %s: motors %s (%zu changes, %u holds, %u releases, %u ignored)\n",
                duration_text(seconds).c_str(), controller.motors().held() ? "held" : "free",
                controller.motors().changes().size(), motors.holds, motors.releases, motors.ignored);
    std::printf("  %llu pushes of data taken, %llu refused\n", static_cast<unsigned long long>(bags.pushed),
                static_cast<unsigned long long>(bags.refused));
    std::printf("  database announced here: %s\n",
                announcement ? peers::version_text(announcement->version).c_str() : "never");
    std::printf("  restricted areas nearby: %u (%llu pushes)\n", restrictions.count,
                static_cast<unsigned long long>(restrictions.pushes));
    if (controller.aircraft() != nullptr) print_flight(controller.aircraft()->counts());
}

}  // namespace cli
