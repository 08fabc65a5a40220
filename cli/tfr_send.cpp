// vela tfr send: delivers restrictions to the aircraft, as the mobile app does.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "app/app_peer.h"
#include "bus_access.h"
#include "console.h"
#include "send_options.h"
#include "tfr_command.h"
#include "tfr_run.h"

namespace cli {
namespace {

struct options_t : send_options_t {
    bool unchecked = false;
    bool force = false;
};

json result_json(const options_t& options, const peers::tfr_report_t& file, const peers::transfer_result_t& result)
{
    json object = {{"file", options.file},
                   {"uid", peers::hex_text(file.uid)},
                   {"areas", file.areas.size()},
                   {"already_there", result.already_there}};
    object.update(transfer_json(result, file.size));
    return object;
}

void print_text(const options_t& options, const peers::tfr_report_t& file, const peers::transfer_result_t& result)
{
    std::printf("%s %s: %s\n", styled(style::good, "✓").c_str(), options.file.c_str(), result.what.c_str());
    if (result.already_there) {
        std::printf("  uid %s, nothing was sent; --force sends it again\n", peers::hex_text(file.uid).c_str());
        return;
    }
    std::printf("  %s, uid %s\n", count_text(file.areas.size(), "area").c_str(), peers::hex_text(file.uid).c_str());
    print_amounts(result, "fragments");
}

// Why the file is not sent at all; its code is ok when it is.
failure_t refusal(const options_t& options, const peers::tfr_report_t& checked)
{
    static constexpr uint64_t MOST = peers::TFR_MAX_FRAGMENTS * peers::TFR_LARGEST_FRAGMENT;
    const std::string next = "Nothing was sent. `vela tfr inspect` shows the file";
    if (checked.size == 0) return {exit_code::bad_input, options.file + ": is empty", "Nothing was sent."};
    if (checked.size > MOST) {
        return {exit_code::bad_input,
                options.file + ": has " + std::to_string(checked.size) +
                    " bytes, a transfer carries 65536 fragments of 255 bytes at most: " + std::to_string(MOST),
                next + "."};
    }
    if (checked.sound() || options.unchecked) return {};
    return {exit_code::bad_input, options.file + ": " + unsound_text(checked), next + "; --unchecked sends it anyway."};
}

exit_code run(const context_t& context, const options_t& options)
{
    failure_t failure;
    std::optional<std::vector<uint8_t>> file = read_file(options.file, failure);
    if (!file) return report(context, failure);
    const peers::tfr_report_t checked = peers::check_tfr_file(*file);
    failure = refusal(options, checked);
    if (failure.code != exit_code::ok) return report(context, failure);
    peers::tfr_options_t transfer;
    transfer.force = options.force;
    if (!apply(options, transfer, failure)) return report(context, failure);
    const std::optional<peers::bus_name_t> name = bus_name(context.route, options.as);
    if (!name) return report(context, bad_bus_name(options.as));
    Waiter waiter;
    peers::bus_open_error_t error;
    const std::unique_ptr<peers::AppPeer> app = peers::AppPeer::open(*name, {}, error);
    if (!app) return report(context, explain_open_error(*name, error));
    ProgressBar bar("sending", context.as_json);
    const peers::transfer_result_t result = run_tfr(app->restrictions(), std::move(*file), transfer, waiter, bar);
    const json details = result_json(options, checked, result);
    if (result.outcome != peers::transfer_outcome::done) {
        return report(context, {exit_code_of(result.outcome), options.file + ": " + result.what, result.next}, details);
    }
    if (context.as_json) {
        print_result(details);
    } else {
        print_text(options, checked, result);
    }
    return exit_code::ok;
}

}  // namespace

void add_tfr_send(CLI::App& group, context_t& context)
{
    CLI::App* command = add_command(group, context, "send", "deliver restrictions to the aircraft, unless it has them",
                                    "vela tfr send tfr.bin");
    const auto options = std::make_shared<options_t>();
    add_send_options(*command, context, *options, "file of restrictions");
    command->add_flag("--force", options->force, "send even if the aircraft has the file already");
    command->add_flag("--unchecked", options->unchecked,
                      "send the file even if the service would discard or misread it");
    command->callback([&context, options] { context.result = run(context, *options); });
}

}  // namespace cli
