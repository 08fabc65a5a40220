// vela bus watch: every message on the bus, or in a capture of it, by name.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

#include "bus_capture.h"
#include "bus_command.h"
#include "bus_message_text.h"
#include "bus_tap.h"
#include "common/clock.h"
#include "console.h"
#include "waiter.h"
#include "watch_filter.h"

namespace cli {
namespace {

struct options_t {
    watch_filter_options_t filter;
    std::string file;  // empty: the bus
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

// Nanoseconds of wall clock of a moment of boot time that has just been.
uint64_t wall_ns_of(uint64_t boot_us)
{
    const uint64_t now = peers::now_us();
    const auto age = std::chrono::microseconds(now > boot_us ? now - boot_us : 0);
    const auto then = std::chrono::system_clock::now() - age;
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(then.time_since_epoch()).count());
}

std::string clock_text(uint64_t wall_ns)
{
    const auto seconds = static_cast<std::time_t>(wall_ns / 1'000'000'000);
    const auto micro = static_cast<unsigned>(wall_ns / 1000 % 1'000'000);
    std::tm local = {};
    localtime_r(&seconds, &local);
    char text[32];
    const size_t length = std::strftime(text, sizeof text, "%H:%M:%S", &local);
    std::snprintf(text + length, sizeof text - length, ".%06u", micro);
    return text;
}

double seconds_since_first(const watch_t& watch, const tap_record_t& record)
{
    return static_cast<double>(static_cast<int64_t>(record.head.boot_time_us - watch.first_us)) / 1e6;
}

void print_text(const watch_t& watch, const tap_record_t& record, uint64_t wall_ns)
{
    char relative[32];
    std::snprintf(relative, sizeof relative, "%10.6f", seconds_since_first(watch, record));
    const std::string time = watch.options.time == "absolute" ? clock_text(wall_ns) : relative;
    std::printf("%s  %s\n", styled(style::dim, time).c_str(), message_text(watch.config, record).c_str());
}

void print_json(const watch_t& watch, const tap_record_t& record, uint64_t wall_ns)
{
    json object = {{"time_us", record.head.boot_time_us}, {"seconds", seconds_since_first(watch, record)}};
    if (watch.options.time == "absolute") object["clock"] = clock_text(wall_ns);
    object.update(message_json(watch.config, record));
    std::printf("%s\n", object.dump().c_str());
}

bool enough(const watch_t& watch)
{
    return watch.options.count != 0 && watch.shown >= watch.options.count;
}

void show(watch_t& watch, const tap_record_t& record, uint64_t wall_ns)
{
    watch.seen++;
    if (enough(watch) || !watch.filter.shows(record)) return;
    if (watch.shown++ == 0) watch.first_us = record.head.boot_time_us;
    watch.context.as_json ? print_json(watch, record, wall_ns) : print_text(watch, record, wall_ns);
}

void watch_until_end(watch_t& watch, TapSocket& tap)
{
    Waiter waiter;
    const Deadline deadline(watch.options.seconds);
    while (!enough(watch)) {
        const auto left = deadline.left();
        if (left && left->count() == 0) return;
        if (waiter.wait(left, tap.fd()) == wake::interrupted) return;
        std::optional<tap_record_t> record;
        while (!enough(watch) && (record = tap.next()))
            show(watch, *record, wall_ns_of(record->head.boot_time_us));
        std::fflush(stdout);
    }
}

// A line for people at a terminal.
void note(const context_t& context, const std::string& text)
{
    if (context.as_json || !on_terminal()) return;
    std::printf("%s\n", styled(style::dim, text).c_str());
    std::fflush(stdout);
}

void note_end(const watch_t& watch)
{
    note(watch.context,
         std::to_string(watch.shown) + " messages shown, " + std::to_string(watch.seen) + " copies seen");
}

exit_code run_live(const context_t& context, const options_t& options)
{
    failure_t failure;
    const std::optional<route_config_t> config = read_route_config(context.route, failure);
    if (!config) return report(context, failure);
    std::optional<WatchFilter> filter = WatchFilter::make(options.filter, *config, failure);
    TapSocket tap;
    if (!filter || !open_tap(context, *config, tap, failure)) return report(context, failure);
    note(context, "Watching " + config->tap + ". Ctrl-C ends it.");
    watch_t watch = {context, options, *config, *filter};
    watch_until_end(watch, tap);
    note_end(watch);
    return exit_code::ok;
}

// Of a capture that is cut, what is there is shown before it is complained about.
exit_code run_file(const context_t& context, const options_t& options)
{
    failure_t failure;
    const std::optional<route_config_t> config = names_for_capture(context, failure);
    if (!config) return report(context, failure);
    std::optional<WatchFilter> filter = WatchFilter::make(options.filter, *config, failure);
    if (!filter) return report(context, failure);
    loaded_capture_t capture;
    const bool whole = load_capture(options.file, capture, failure);
    watch_t watch = {context, options, *config, *filter};
    for (const captured_t& one : capture.records)
        show(watch, one.record, one.wall_ns);
    if (!whole) return report(context, failure);
    note_end(watch);
    return exit_code::ok;
}

}  // namespace

void add_bus_watch(CLI::App& group, context_t& context)
{
    CLI::App* command = add_command(group, context, "watch", "show every message on the bus, or in a capture, by name",
                                    "vela bus watch --peer app/phone --set 0x00 --json");
    const auto options = std::make_shared<options_t>();
    add_route_option(*command, context);
    add_watch_filter_options(*command, options->filter);
    command->add_flag("--both", options->filter.both, "show the sender's and the receiver's copy of a message");
    command->add_option("--time", options->time, "relative to the first message shown, or absolute (wall clock)")
        ->check(CLI::IsMember({"relative", "absolute"}))
        ->capture_default_str();
    command->add_option("--count", options->count, "end after so many messages");
    CLI::Option* seconds = command->add_option("--seconds", options->seconds, "end after so many seconds");
    command->add_option("--file", options->file, "show a capture that `vela bus record` made, in place of the bus")
        ->excludes(seconds);
    command->callback([&context, options] {
        context.result = options->file.empty() ? run_live(context, *options) : run_file(context, *options);
    });
}

}  // namespace cli
