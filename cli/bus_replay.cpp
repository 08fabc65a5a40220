// vela bus replay: what one endpoint asked in a capture, asked again; are the answers the same?
#include <CLI/CLI.hpp>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "bus_command.h"
#include "bus_message_text.h"
#include "bus_replay_run.h"
#include "console.h"
#include "units.h"

namespace cli {
namespace {

using std::chrono::steady_clock;

struct options_t {
    std::string file;
    std::string from = "app/phone";
    std::string as;  // empty: as `from`
    pace_t pace;
};

// Of the answers, each counted once.
struct tally_t {
    size_t recorded = 0;          // that the capture has
    size_t same = 0;              // of them
    size_t different = 0;         // of them
    size_t missing = 0;           // of them
    size_t unrecorded = 0;        // that came where the capture has none
    std::optional<size_t> first;  // step whose answer is different or missing
};

struct outcome_t {
    const options_t& options;
    const route_config_t& config;
    uint16_t from;
    const std::vector<replay_step_t>& steps;
    uint64_t capture_lost;
    Replay::answers_t answers = {};
    tally_t tally = {};
    size_t sent = 0;
    double seconds = 0;
};

void count_answer(tally_t& tally, const replay_step_t& step, const std::optional<kest_event_t>& now, size_t index)
{
    if (!step.recorded) {
        if (now) tally.unrecorded++;
        return;
    }
    tally.recorded++;
    const bool same = now && same_answer(*step.recorded, *now);
    if (same) tally.same++;
    if (now && !same) tally.different++;
    if (!now) tally.missing++;
    if (!same && !tally.first) tally.first = index;
}

tally_t tally_of(const std::vector<replay_step_t>& steps, const Replay::answers_t& answers)
{
    tally_t tally;
    for (size_t i = 0; i < steps.size(); i++)
        count_answer(tally, steps[i], answers[i], i);
    return tally;
}

// A request or reply as if it were on the tap, so that it can be shown.
tap_record_t shown(const outcome_t& outcome, const kest_event_t& event, bool reply)
{
    const uint16_t from = reply ? event.peer_host : outcome.from;
    const uint16_t to = reply ? outcome.from : event.peer_host;
    return {{0, from, to, 0, {}}, event};
}

std::string answer_text(const outcome_t& outcome, const std::optional<kest_event_t>& answer)
{
    return answer ? content_text(shown(outcome, *answer, true)) : styled(style::bad, "none");
}

json answer_json(const outcome_t& outcome, const std::optional<kest_event_t>& answer)
{
    return answer ? message_json(outcome.config, shown(outcome, *answer, true)) : json();
}

json first_json(const outcome_t& outcome)
{
    if (!outcome.tally.first) return nullptr;
    const size_t index = *outcome.tally.first;
    const replay_step_t& step = outcome.steps[index];
    return {{"request_number", index + 1},
            {"offset", step.offset},
            {"seconds", static_cast<double>(step.at_us) / 1e6},
            {"request", message_json(outcome.config, shown(outcome, step.request, false))},
            {"recorded", answer_json(outcome, step.recorded)},
            {"now", answer_json(outcome, outcome.answers[index])}};
}

json json_of(const outcome_t& outcome)
{
    const tally_t& tally = outcome.tally;
    return {{"file", outcome.options.file},
            {"from", name_of(outcome.config, outcome.from)},
            {"requests", outcome.steps.size()},
            {"sent", outcome.sent},
            {"seconds", outcome.seconds},
            {"answers",
             {{"recorded", tally.recorded},
              {"same", tally.same},
              {"different", tally.different},
              {"missing", tally.missing},
              {"unrecorded", tally.unrecorded}}},
            {"first_difference", first_json(outcome)},
            {"capture_lost", outcome.capture_lost}};
}

void print_text(const outcome_t& outcome)
{
    const tally_t& tally = outcome.tally;
    const std::string mark = tally.first ? styled(style::bad, "✗") : styled(style::good, "✓");
    std::printf("%s %zu of %zu requests of %s sent again in %s\n", mark.c_str(), outcome.sent, outcome.steps.size(),
                name_of(outcome.config, outcome.from).c_str(), duration_text(outcome.seconds).c_str());
    std::printf("  answers recorded %zu: %zu the same byte for byte, %zu different, %zu missing\n", tally.recorded,
                tally.same, tally.different, tally.missing);
    if (tally.unrecorded > 0) std::printf("  answers that the capture does not have: %zu\n", tally.unrecorded);
    if (outcome.capture_lost > 0) {
        std::printf("  %s\n", styled(style::bad, "the capture says that it lacks " +
                                                     std::to_string(outcome.capture_lost) + " copies")
                                  .c_str());
    }
    if (!tally.first) return;
    const replay_step_t& step = outcome.steps[*tally.first];
    std::printf("  first to differ: the answer to request %zu, at byte %zu of the capture\n", *tally.first + 1,
                step.offset);
    std::printf("    request   %s\n", content_text(shown(outcome, step.request, false)).c_str());
    std::printf("    recorded  %s\n", answer_text(outcome, step.recorded).c_str());
    std::printf("    now       %s\n", answer_text(outcome, outcome.answers[*tally.first]).c_str());
}

failure_t difference(const outcome_t& outcome)
{
    const tally_t& tally = outcome.tally;
    return {exit_code::verification,
            std::to_string(tally.different + tally.missing) + " of " + std::to_string(tally.recorded) +
                " answers are not those of " + outcome.options.file,
            "Replay to a service that is in the state in which the recorded one was: freshly started, with the same "
            "files."};
}

failure_t stopped(const outcome_t& outcome, kest_result_t result)
{
    failure_t failure = explain_no_answer(result);
    if (result == -EINTR) failure.what = "stopped";
    failure.what +=
        ", after " + std::to_string(outcome.sent) + " of " + std::to_string(outcome.steps.size()) + " requests";
    return failure;
}

failure_t no_requests(const options_t& options, const route_config_t& config, const loaded_capture_t& capture)
{
    std::string senders;
    for (const auto& [address, count] : senders_in(capture))
        senders += (senders.empty() ? "" : ", ") + name_of(config, address) + " (" + std::to_string(count) + ")";
    return {exit_code::bad_input, options.file + ": no requests of " + options.from + " in it",
            senders.empty() ? "There are none in it at all."
                            : "There are requests of " + senders + ": choose with --from."};
}

size_t bytes_until(const std::vector<replay_step_t>& steps, size_t count)
{
    size_t bytes = 0;
    for (size_t i = 0; i < count; i++)
        bytes += KEST_EVENT_HEAD_SIZE + steps[i].request.msg_len;
    return bytes;
}

kest_result_t play(const context_t& context, outcome_t& outcome, Replay& replay)
{
    const auto start = steady_clock::now();
    const size_t total = bytes_until(outcome.steps, outcome.steps.size());
    size_t bytes = 0;
    ProgressBar bar("Replaying", context.as_json);
    const kest_result_t result = replay.run(outcome.options.pace, [&](size_t sent) {
        bytes += KEST_EVENT_HEAD_SIZE + outcome.steps[sent - 1].request.msg_len;
        bar.show(bytes, total, std::chrono::duration<double>(steady_clock::now() - start).count());
    });
    bar.clear();
    outcome.seconds = std::chrono::duration<double>(steady_clock::now() - start).count();
    outcome.answers = replay.answers();
    outcome.sent = replay.sent();
    outcome.tally = tally_of(outcome.steps, outcome.answers);
    return result;
}

exit_code tell(const context_t& context, const outcome_t& outcome, kest_result_t result)
{
    if (result != 0) return report(context, stopped(outcome, result), json_of(outcome));
    if (!context.as_json) print_text(outcome);
    if (outcome.tally.first) return report(context, difference(outcome), json_of(outcome));
    if (context.as_json) print_result(json_of(outcome));
    return exit_code::ok;
}

exit_code run(const context_t& context, const options_t& options)
{
    failure_t failure;
    const std::optional<route_config_t> config = read_route_config(context.route, failure);
    if (!config) return report(context, failure);
    const std::optional<uint16_t> from = address_of(*config, options.from);
    if (!from)
        return report(context, {exit_code::usage, "--from: \"" + options.from + "\" is neither an address nor a name",
                                "Write 0x0200 or a name of the route configuration, for example app/phone."});
    const std::string as = options.as.empty() ? name_of(*config, *from) : options.as;
    const std::optional<peers::bus_name_t> name = bus_name(context.route, as);
    if (!name) return report(context, bad_bus_name(as));
    loaded_capture_t capture;
    if (!load_capture(options.file, capture, failure)) {
        failure.next = "Nothing was sent. `vela bus watch --file` shows what stands before the error.";
        return report(context, failure);
    }
    const std::vector<replay_step_t> steps = plan_replay(capture, *from);
    if (steps.empty()) return report(context, no_requests(options, *config, capture));

    Waiter waiter;
    peers::bus_open_error_t error;
    const std::unique_ptr<Replay> replay = Replay::open(*name, steps, waiter, error);
    if (!replay) return report(context, explain_open_error(*name, error));
    outcome_t outcome = {options, *config, *from, steps, capture.lost};
    return tell(context, outcome, play(context, outcome, *replay));
}

}  // namespace

void add_bus_replay(CLI::App& group, context_t& context)
{
    CLI::App* command = add_command(group, context, "replay", "ask again what an endpoint asked in a capture",
                                    "vela bus replay upgrade.pcapng --from app/phone --speed 2");
    const auto options = std::make_shared<options_t>();
    command->add_option("FILE", options->file, "the capture, as `vela bus record` makes it")->required();
    add_route_option(*command, context);
    command->add_option("--from", options->from, "whose requests: address or service/endpoint")->capture_default_str();
    command->add_option("--as", options->as,
                        "endpoint to be on the bus, as service/endpoint; otherwise that of --from");
    CLI::Option* speed = command->add_option("--speed", options->pace.speed, "times as fast as recorded")
                             ->check(CLI::Range(0.001, 10000.0))
                             ->capture_default_str();
    command
        ->add_flag("--fast", options->pace.fast,
                   "do not wait for the recorded times, only for each answer, a second at most")
        ->excludes(speed);
    command->callback([&context, options] { context.result = run(context, *options); });
}

}  // namespace cli
