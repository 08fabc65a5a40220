// vela bus watch: every message on the bus, by name.
#include <chrono>
#include <cstdio>
#include <ctime>

#include "bus_access.h"
#include "bus_command.h"
#include "common/clock.h"
#include "console.h"
#include "flight_v1_wire.h"
#include "messages/decode.h"
#include "nfz_file/nfz_file.h"
#include "tap_socket.h"
#include "units.h"
#include "waiter.h"
#include "watch_filter.h"

namespace cli {
namespace {

using std::chrono::steady_clock;

struct options_t {
    watch_filter_options_t filter;
    std::string time = "relative";
    uint64_t count = 0;  // 0: no bound
    std::optional<double> seconds;
};

struct watch_t {
    const context_t& context;
    const options_t& options;
    const route_config_t& config;
    WatchFilter filter;
    uint64_t first_us = 0;
    uint64_t shown = 0;
    uint64_t seen = 0;
};

// Wall-clock time of a moment of boot time that has just been.
std::string clock_text(uint64_t boot_us)
{
    const uint64_t now = peers::now_us();
    const auto age = std::chrono::microseconds(now > boot_us ? now - boot_us : 0);
    const auto then = std::chrono::system_clock::now() - age;
    const std::time_t seconds = std::chrono::system_clock::to_time_t(then);
    const auto micro = std::chrono::duration_cast<std::chrono::microseconds>(then.time_since_epoch()).count() % 1000000;
    std::tm local = {};
    localtime_r(&seconds, &local);
    char text[32];
    const size_t length = std::strftime(text, sizeof text, "%H:%M:%S", &local);
    std::snprintf(text + length, sizeof text - length, ".%06d", static_cast<int>(micro));
    return text;
}

std::string time_text(const watch_t& watch, uint64_t boot_us)
{
    if (watch.options.time == "absolute") return clock_text(boot_us);
    char text[32];
    std::snprintf(text, sizeof text, "%10.6f", static_cast<double>(boot_us - watch.first_us) / 1e6);
    return text;
}

peers::decoded_t decoded(const tap_record_t& record)
{
    const kest_event_t& event = record.event;
    return peers::decode_message(peers::set_of(event), peers::id_of(event), (event.attrib & ATTRIB_REPLY) != 0,
                                 record.head.from, record.head.to, peers::payload_of(event));
}

void print_text(const watch_t& watch, const tap_record_t& record)
{
    const peers::decoded_t message = decoded(record);
    std::string fields = peers::fields_text(message);
    if (!message.problem.empty()) {
        fields = styled(style::bad, message.problem);
        const std::string hex = peers::hex_text(peers::payload_of(record.event));
        if (!hex.empty()) fields += "  " + hex;
    }
    std::printf("%s  %s → %s  #%u %02x:%02x %s  %s\n",
                styled(style::dim, time_text(watch, record.head.boot_time_us)).c_str(),
                name_of(watch.config, record.head.from).c_str(), name_of(watch.config, record.head.to).c_str(),
                record.event.seq_id, peers::set_of(record.event), peers::id_of(record.event),
                styled(message.problem.empty() ? style::bold : style::bad, message.name).c_str(), fields.c_str());
}

json json_of(const peers::value_t& value)
{
    return std::visit([](const auto& held) { return json(held); }, value);
}

// Members are the field's value, or {"value", "meaning"} where the value has a name.
json fields_json(const peers::decoded_t& message)
{
    json fields = json::object();
    for (const peers::decoded_field_t& field : message.fields) {
        json value = json::array();
        for (const peers::value_t& one : field.values)
            value.push_back(json_of(one));
        if (!field.array) value = field.values.empty() ? json() : json_of(field.values[0]);
        fields[field.name] = field.meaning.empty() ? value : json{{"value", value}, {"meaning", field.meaning}};
    }
    return fields;
}

void print_json(const watch_t& watch, const tap_record_t& record)
{
    const kest_event_t& event = record.event;
    const peers::decoded_t message = decoded(record);
    const uint64_t time_us = record.head.boot_time_us;
    json object = {{"time_us", time_us}, {"seconds", static_cast<double>(time_us - watch.first_us) / 1e6}};
    if (watch.options.time == "absolute") object["clock"] = clock_text(time_us);
    object.update(json{{"direction", record.head.direction == 0 ? "sent" : "received"},
                       {"from", address_text(record.head.from)},
                       {"from_name", name_of(watch.config, record.head.from)},
                       {"to", address_text(record.head.to)},
                       {"to_name", name_of(watch.config, record.head.to)},
                       {"set", peers::set_of(event)},
                       {"id", peers::id_of(event)},
                       {"seq_id", event.seq_id},
                       {"attrib", event.attrib},
                       {"reply", message.reply},
                       {"name", message.name}});
    if (message.problem.empty()) object["fields"] = fields_json(message);
    if (!message.problem.empty()) object["problem"] = message.problem;
    object["payload"] = peers::hex_text(peers::payload_of(event));
    std::printf("%s\n", object.dump().c_str());
}

bool enough(const watch_t& watch)
{
    return watch.options.count != 0 && watch.shown >= watch.options.count;
}

void show_waiting(watch_t& watch, TapSocket& tap)
{
    while (!enough(watch)) {
        const std::optional<tap_record_t> record = tap.next();
        if (!record) break;
        watch.seen++;
        if (!watch.filter.shows(*record)) continue;
        if (watch.shown++ == 0) watch.first_us = record->head.boot_time_us;
        watch.context.as_json ? print_json(watch, *record) : print_text(watch, *record);
    }
    std::fflush(stdout);
}

void watch_until_end(watch_t& watch, TapSocket& tap)
{
    Waiter waiter;
    const auto bound = std::chrono::duration<double>(watch.options.seconds.value_or(0));
    const auto end = steady_clock::now() + std::chrono::duration_cast<steady_clock::duration>(bound);
    while (!enough(watch)) {
        std::optional<std::chrono::milliseconds> left;
        if (watch.options.seconds) left = std::chrono::ceil<std::chrono::milliseconds>(end - steady_clock::now());
        if (left && left->count() <= 0) return;
        if (waiter.wait(left, tap.fd()) == wake::interrupted) return;
        show_waiting(watch, tap);
    }
}

exit_code run(const context_t& context, const options_t& options)
{
    failure_t failure;
    const std::optional<route_config_t> config = read_route_config(context.route, failure);
    if (!config) return report(context, failure);
    if (config->tap.empty()) {
        return report(context,
                      {exit_code::configuration, context.route + ": \"tap\" is missing, so nobody sends copies",
                       "Add \"tap\": \"" + config->bus_dir + "/tap.sock\" and start the service and its peers again."});
    }
    std::optional<WatchFilter> filter = WatchFilter::make(options.filter, *config, failure);
    if (!filter) return report(context, failure);
    TapSocket tap;
    if (!tap.open(config->tap, failure)) return report(context, failure);
    if (!context.as_json && on_terminal()) {
        std::printf("%s\n", styled(style::dim, "Watching " + config->tap + ". Ctrl-C ends it.").c_str());
        std::fflush(stdout);
    }
    watch_t watch = {context, options, *config, *filter};
    watch_until_end(watch, tap);
    if (!context.as_json && on_terminal()) {
        std::printf("%s\n", styled(style::dim, std::to_string(watch.shown) + " messages shown, " +
                                                   std::to_string(watch.seen) + " copies seen")
                                .c_str());
    }
    return exit_code::ok;
}

}  // namespace

void add_bus_watch(CLI::App& group, context_t& context)
{
    CLI::App* command = add_command(group, context, "watch", "show every message on the bus by name",
                                    "vela bus watch --peer app/phone --set 0x00 --json");
    const auto options = std::make_shared<options_t>();
    add_route_option(*command, context);
    command->add_option("--peer", options->filter.peer, "only from or to this one: address or service/endpoint");
    command->add_option("--set", options->filter.set, "only this command set, for example 0x03");
    command->add_option("--id", options->filter.id, "only this command id, for example 0xc1");
    command->add_flag("--both", options->filter.both, "show the sender's and the receiver's copy of a message");
    command->add_option("--time", options->time, "relative to the first message shown, or absolute (wall clock)")
        ->check(CLI::IsMember({"relative", "absolute"}))
        ->capture_default_str();
    command->add_option("--count", options->count, "end after so many messages");
    command->add_option("--seconds", options->seconds, "end after so many seconds");
    command->callback([&context, options] { context.result = run(context, *options); });
}

}  // namespace cli
