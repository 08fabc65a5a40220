// vela bus record: what passes on the bus, to a file that Wireshark opens.
#include <CLI/CLI.hpp>
#include <csignal>
#include <nlohmann/json.hpp>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "bus_capture.h"
#include "bus_command.h"
#include "bus_counters.h"
#include "bus_tap.h"
#include "common/clock.h"
#include "console.h"
#include "units.h"
#include "waiter.h"
#include "watch_filter.h"

namespace cli {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds WRITE_EVERY(10);
constexpr std::chrono::milliseconds LOOK_AT_COUNTERS(500);
constexpr const char* MORE_ROOM =
    "The kernel queues few copies; with a longer queue none are lost: sysctl -w net.unix.max_dgram_qlen=1000";

struct options_t {
    std::string file;
    watch_filter_options_t filter;
    bool once = false;
    uint64_t count = 0;  // 0: no bound
    std::optional<double> seconds;
};

struct recording_t {
    const context_t& context;
    const options_t& options;
    const route_config_t& config;
    WatchFilter filter;
    peers::CaptureWriter& writer;
    TapLosses losses;
    uint64_t start_us;      // wall clock
    uint64_t ahead_us;      // of the wall clock to boot time; added without care for the sign, as it wraps back
    uint64_t received = 0;  // copies
    uint64_t written = 0;
    uint64_t not_kept = 0;  // copies that this process had no room for
};

uint64_t wall_us()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

bool to_pipe(const options_t& options)
{
    return options.file == "-";
}

// The reader of a pipe that has closed it, as Wireshark does, has had what it wants.
bool reader_left(const options_t& options, int error)
{
    return to_pipe(options) && error == EPIPE;
}

failure_t cannot_begin(const options_t& options, int error)
{
    return {exit_code::output, options.file + ": cannot be written: " + std::strerror(error), "Nothing was recorded."};
}

failure_t unwritable(const options_t& options, int error)
{
    const std::string next = error == ENOSPC ? "What was recorded before is a whole capture. Make room, or end sooner "
                                               "with --seconds or --count."
                                             : "";
    return {exit_code::output, options.file + ": cannot be written: " + std::strerror(error), next};
}

bool enough(const recording_t& recording)
{
    return recording.options.count != 0 && recording.written >= recording.options.count;
}

void write(recording_t& recording, const tap_record_t& record)
{
    uint8_t bytes[sizeof record.head + KEST_EVENT_SIZE];
    const size_t event_size = KEST_EVENT_HEAD_SIZE + record.event.msg_len;
    std::memcpy(bytes, &record.head, sizeof record.head);
    std::memcpy(bytes + sizeof record.head, &record.event, event_size);
    recording.writer.packet(record.head.boot_time_us + recording.ahead_us, {bytes, sizeof record.head + event_size});
    recording.written++;
}

void write_waiting(recording_t& recording, TapQueue& queue)
{
    for (const tap_record_t& record : queue.take()) {
        recording.received++;
        if (!enough(recording) && recording.filter.shows(record)) write(recording, record);
    }
}

void show_progress(const recording_t& recording)
{
    if (recording.context.as_json || to_pipe(recording.options) || !on_terminal()) return;
    std::printf("\r\033[K%llu copies, %s", static_cast<unsigned long long>(recording.written),
                size_text(recording.writer.size()).c_str());
    std::fflush(stdout);
}

// 0 at a signal or when it is long or much enough, else the errno of writing.
int record_until_end(recording_t& recording, TapSocket& tap)
{
    Waiter waiter;
    TapQueue queue(tap);
    const Deadline deadline(recording.options.seconds);
    auto next_look = steady_clock::now();
    bool ends = false;
    while (!ends) {
        const auto left = std::min(deadline.left().value_or(WRITE_EVERY), WRITE_EVERY);
        ends = left.count() == 0 || waiter.wait(left) == wake::interrupted;
        write_waiting(recording, queue);
        if (!recording.writer.flush()) return errno;
        ends = ends || enough(recording);
        if (steady_clock::now() < next_look) continue;
        next_look = steady_clock::now() + LOOK_AT_COUNTERS;
        recording.losses.look();
        show_progress(recording);
    }
    recording.not_kept = queue.lost();
    return 0;
}

uint64_t lost(const recording_t& recording)
{
    return recording.losses.all() + recording.not_kept;
}

// Who lost how many, one line each; empty when nobody did.
std::string losses_text(const recording_t& recording)
{
    std::string text;
    for (const auto& [host, count] : recording.losses.by_sender()) {
        text += (text.empty() ? "" : "\n") + std::to_string(count) + (count == 1 ? " copy of " : " copies of ") +
                name_of(recording.config, host) + " not taken by the tap";
    }
    if (recording.not_kept > 0) {
        text += (text.empty() ? "" : "\n") + std::to_string(recording.not_kept) +
                " copies came faster than they could be written";
    }
    return text;
}

peers::capture_end_t end_of(const recording_t& recording)
{
    const std::string losses = losses_text(recording);
    return {recording.start_us, wall_us(),       recording.received,
            recording.written,  lost(recording), losses.empty() ? "nothing was lost" : losses};
}

json json_of(const recording_t& recording, double seconds)
{
    json by_sender = json::object();
    for (const auto& [host, count] : recording.losses.by_sender())
        by_sender[name_of(recording.config, host)] = count;
    return {{"file", recording.options.file},
            {"copies", recording.written},
            {"seen", recording.received},
            {"lost", lost(recording)},
            {"lost_by_sender", by_sender},
            {"bytes", recording.writer.size()},
            {"seconds", seconds}};
}

void print_text(const recording_t& recording, double seconds)
{
    if (on_terminal()) std::printf("\r\033[K");
    std::printf("%s: %llu copies in %s, %s\n", recording.options.file.c_str(),
                static_cast<unsigned long long>(recording.written), duration_text(seconds).c_str(),
                size_text(recording.writer.size()).c_str());
    const std::string losses = losses_text(recording);
    if (losses.empty()) return;
    std::printf("%s\n%s\n", styled(style::bad, losses).c_str(), MORE_ROOM);
}

exit_code end(recording_t& recording, int error)
{
    recording.losses.look();
    if (error == 0 && !recording.writer.finish(end_of(recording))) error = errno;
    const double seconds = static_cast<double>(wall_us() - recording.start_us) / 1e6;
    if (error != 0 && !reader_left(recording.options, error))
        return report(recording.context, unwritable(recording.options, error), json_of(recording, seconds));
    if (to_pipe(recording.options)) return exit_code::ok;
    recording.context.as_json ? print_result(json_of(recording, seconds)) : print_text(recording, seconds);
    return exit_code::ok;
}

exit_code run(const context_t& context, options_t& options)
{
    failure_t failure;
    if (to_pipe(options) && context.as_json)
        return report(context, {exit_code::usage, "--json: the capture itself goes to standard output",
                                "Name a file, or leave out --json."});
    const std::optional<route_config_t> config = read_route_config(context.route, failure);
    if (!config) return report(context, failure);
    options.filter.both = !options.once;
    const std::optional<WatchFilter> filter = WatchFilter::make(options.filter, *config, failure);
    TapSocket tap;
    if (!filter || !open_tap(context, *config, tap, failure)) return report(context, failure);
    std::signal(SIGPIPE, SIG_IGN);
    const auto writer = peers::CaptureWriter::create(options.file, about_capture(*config));
    if (!writer) return report(context, cannot_begin(options, errno));
    const uint64_t start_us = wall_us();
    recording_t recording = {
        context, options, *config, *filter, *writer, TapLosses(config->bus_dir), start_us, start_us - peers::now_us()};
    if (!context.as_json && !to_pipe(options) && on_terminal())
        std::printf("%s\n", styled(style::dim, "Recording " + config->tap + ". Ctrl-C ends it.").c_str());
    return end(recording, record_until_end(recording, tap));
}

}  // namespace

void add_bus_record(CLI::App& group, context_t& context)
{
    CLI::App* command = add_command(group, context, "record", "record the bus to a file that Wireshark opens",
                                    "vela bus record upgrade.pcapng --peer app/phone");
    const auto options = std::make_shared<options_t>();
    command->add_option("FILE", options->file, "the capture (pcapng), or - for a pipe: … | wireshark -k -i -")
        ->required();
    add_route_option(*command, context);
    add_watch_filter_options(*command, options->filter);
    command->add_flag("--once", options->once,
                      "of a message only the copy that comes first, not sender's and receiver's");
    command->add_option("--count", options->count, "end after so many copies");
    command->add_option("--seconds", options->seconds, "end after so many seconds");
    command->callback([&context, options] { context.result = run(context, *options); });
}

}  // namespace cli
