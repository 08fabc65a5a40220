// vela afqt: the factory's side of a flight test.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>

#include "afqt_check.h"
#include "afqt_report.h"
#include "afqt_run.h"
#include "bus_access.h"
#include "command.h"
#include "common/clock.h"
#include "console.h"
#include "units.h"

namespace cli {
namespace {

constexpr const char* LOG_DIRECTORY = "/tmp/blackbox/log/afqt";

struct options_t {
    std::string as = "factory/station";
    uint8_t index = 0;
    std::string list;
    bool no_wait = false;
    bool force = false;
    std::string directory = LOG_DIRECTORY;
};

std::string list_path(const options_t& options)
{
    if (!options.list.empty()) return options.list;
    return "/tmp/SD0/factory_test/afqt_motion_cfg_" + std::to_string(options.index) + ".json";
}

std::unique_ptr<peers::TestStation> open_station(const context_t& context, const options_t& options,
                                                 peers::station_events_t events, failure_t& failure)
{
    const std::optional<peers::bus_name_t> name = bus_name(context.route, options.as);
    if (!name) {
        failure = bad_bus_name(options.as);
        return nullptr;
    }
    peers::bus_open_error_t error;
    auto station = peers::TestStation::open(*name, std::move(events), error);
    if (!station) failure = explain_open_error(*name, error);
    return station;
}

exit_code follow(const context_t& context, TestInbox& inbox, Waiter& waiter, uint64_t start_us, size_t motions,
                 peers::test_report_t& report)
{
    const auto since = [start_us](uint64_t time_us) { return static_cast<double>(time_us - start_us) / 1e6; };
    bool interrupted = false;
    report = follow_test(
        inbox, waiter,
        [&](const TestInbox::news_t& news) {
            print_line(context, since(news.time_us), beat_text(news.beat, motions), beat_json(news.beat));
        },
        interrupted);
    if (interrupted) return exit_code::interrupted;
    return print_end(context, report, since(peers::now_us()));
}

failure_t not_sent(kest_result_t result)
{
    return explain_no_answer(result);
}

exit_code start(const context_t& context, const options_t& options)
{
    if (!list_may_fly(context, list_path(options), options.force)) return exit_code::bad_input;
    failure_t failure;
    Waiter waiter;
    const uint64_t begin = peers::now_us();
    TestInbox inbox(waiter);
    const auto station = open_station(context, options, inbox.events(), failure);
    if (!station) return report(context, failure);
    inbox.begin(begin, options.index);
    const kest_result_t sent = station->switch_on(options.index);
    if (sent != 0) return report(context, not_sent(sent));
    print_line(context, 0, "switched on, list " + std::to_string(options.index),
               {{"switched", "on"}, {"list", options.index}});
    if (options.no_wait) return exit_code::ok;
    peers::test_report_t end;
    const exit_code code = follow(context, inbox, waiter, begin, motions_of(list_path(options)).value_or(0), end);
    if (code == exit_code::interrupted) {
        station->switch_off(options.index);
        return report(context, {code, "interrupted: the test was switched off",
                                "The aircraft holds its position: land it by hand or by the flight controller."});
    }
    return code;
}

exit_code stop(const context_t& context, const options_t& options)
{
    failure_t failure;
    const auto station = open_station(context, options, {}, failure);
    if (!station) return report(context, failure);
    const kest_result_t sent = station->switch_off(options.index);
    if (sent != 0) return report(context, not_sent(sent));
    print_line(context, 0, "switched off", {{"switched", "off"}});
    return exit_code::ok;
}

// Somebody else switches; this shows what the heartbeats say until a flight has ended, or Ctrl-C.
exit_code watch(const context_t& context, const options_t& options)
{
    failure_t failure;
    Waiter waiter;
    const uint64_t begin = peers::now_us();
    TestInbox inbox(waiter);
    inbox.begin(UINT64_MAX, options.index);  // it may stay idle for as long as it likes
    const auto station = open_station(context, options, inbox.events(), failure);
    if (!station) return report(context, failure);
    peers::test_report_t end;
    const exit_code code = follow(context, inbox, waiter, begin, motions_of(list_path(options)).value_or(0), end);
    return code == exit_code::interrupted ? exit_code::ok : code;
}

// The file of that kind written last; empty when there is none.
std::filesystem::path newest(const std::string& directory, const std::string& prefix)
{
    std::filesystem::path found;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
        if (!entry.path().filename().string().starts_with(prefix)) continue;
        if (found.empty() || entry.last_write_time() > std::filesystem::last_write_time(found)) found = entry.path();
    }
    return found;
}

std::string text_of(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

exit_code show_log(const context_t& context, const options_t& options)
{
    const std::filesystem::path log = newest(options.directory, "afqt_log_");
    const std::filesystem::path tag = newest(options.directory, "afqttag_");
    if (log.empty()) {
        return report(context, {exit_code::bad_input, options.directory + ": no log of a flight test",
                                "The service writes one when it starts with the test enabled."});
    }
    if (context.as_json) {
        print_result({{"log", log.string()},
                      {"log_text", text_of(log)},
                      {"tag", tag.string()},
                      {"tag_content", json::parse(text_of(tag), nullptr, false)}});
        return exit_code::ok;
    }
    std::printf("%s\n%s\n", styled(style::bold, log.string()).c_str(), text_of(log).c_str());
    if (!tag.empty()) std::printf("%s\n%s\n", styled(style::bold, tag.string()).c_str(), text_of(tag).c_str());
    return exit_code::ok;
}

using action_t = exit_code (*)(const context_t&, const options_t&);

CLI::App* add(CLI::App& group, context_t& context, const char* name, const char* what, const char* example,
              action_t action, const std::shared_ptr<options_t>& options)
{
    CLI::App* command = add_command(group, context, name, what, example);
    command->callback([&context, options, action] { context.result = action(context, *options); });
    return command;
}

void add_bus_options(CLI::App& command, context_t& context, options_t& options)
{
    add_route_option(command, context);
    add_as_option(command, options.as);
    command.add_option("index", options.index, "number of the motion list on the aircraft, afqt_motion_cfg_N.json")
        ->check(CLI::Range(0, 255))
        ->capture_default_str();
}

}  // namespace

void add_afqt_commands(CLI::App& tool, context_t& context)
{
    CLI::App* group = tool.add_subcommand("afqt", "automated flight quality test: start, stop, watch, logs");
    group->require_subcommand(1);
    group->footer("Example: vela afqt start 3");
    const auto options = std::make_shared<options_t>();
    CLI::App* start_command =
        add(*group, context, "start", "fly a motion list and say how it ended", "vela afqt start 3", start, options);
    add_bus_options(*start_command, context, *options);
    start_command->add_option("--list", options->list,
                              "the same list on this machine, to look through it and count its motions");
    start_command->add_flag("--force", options->force, "switch on whatever is found in the list");
    start_command->add_flag("--no-wait", options->no_wait, "only switch it on");
    add_afqt_check(*group, context);
    add_bus_options(*add(*group, context, "stop", "switch the test off", "vela afqt stop", stop, options), context,
                    *options);
    CLI::App* watch_command = add(*group, context, "watch", "show a test that somebody else switches",
                                  "vela afqt watch --json", watch, options);
    add_bus_options(*watch_command, context, *options);
    watch_command->add_option("--list", options->list, "the same list on this machine, to count its motions");
    CLI::App* log_command =
        add(*group, context, "log", "show the newest log and tag file of a test", "vela afqt log", show_log, options);
    log_command->add_option("--directory", options->directory, "where they are")->capture_default_str();
    add_afqt_report(*group, context);
}

}  // namespace cli
