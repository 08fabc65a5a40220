// vela nfz send: upgrades the database of the aircraft, as the mobile app does.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "app/app_peer.h"
#include "bus_access.h"
#include "console.h"
#include "nfz_command.h"
#include "send_options.h"
#include "upgrade_run.h"
#include "version_run.h"

namespace cli {
namespace {

struct options_t : send_options_t {
    bool unchecked = false;
    bool withdraw = false;
};

json result_json(const options_t& options, const peers::nfz_report_t& file, const peers::upgrade_result_t& result)
{
    json object = {{"file", options.file}, {"version", peers::version_text(file.version)}};
    object.update(transfer_json(result, file.size));
    return object;
}

void print_text(const options_t& options, const peers::nfz_report_t& file, const peers::upgrade_result_t& result)
{
    std::printf("%s %s: version %s is installed\n", styled(style::good, "✓").c_str(), options.file.c_str(),
                peers::version_text(file.version).c_str());
    print_amounts(result, "blocks");
}

// The reason in the words of the service's side, the file and its version in front. `installed` may be empty.
failure_t failure_of(const options_t& options, const peers::nfz_report_t& file, const peers::upgrade_result_t& result,
                     const std::string& installed)
{
    return {exit_code_of(result.outcome),
            options.file + " (version " + peers::version_text(file.version) + "): " + result.what +
                (installed.empty() ? "" : ", " + installed),
            result.next};
}

// The version that makes ours an older one; empty when the service does not say.
std::string newer_version(peers::AppPeer& app, Waiter& waiter)
{
    const peers::service_versions_t versions = ask_versions(app.endpoint(), 1'000'000, 1, waiter);
    return versions.result == 0 ? peers::version_text(versions.database) : "";
}

exit_code run(const context_t& context, const options_t& options)
{
    failure_t failure;
    std::optional<std::vector<uint8_t>> file = read_file(options.file, failure);
    if (!file) return report(context, failure);
    const peers::nfz_report_t checked = peers::check_nfz_file(*file);
    if (!checked.kept && !options.unchecked) {
        return report(context, {exit_code::bad_input, options.file + ": no valid database: " + checked.reason,
                                "Nothing was sent. `vela nfz inspect` shows the file; --unchecked sends it anyway."});
    }
    peers::upgrade_options_t upgrade;
    upgrade.withdraw_on_failure = options.withdraw;
    if (!apply(options, upgrade, failure)) return report(context, failure);
    const std::optional<peers::bus_name_t> name = bus_name(context.route, options.as);
    if (!name) return report(context, bad_bus_name(options.as));
    Waiter waiter;
    peers::bus_open_error_t error;
    const std::unique_ptr<peers::AppPeer> app = peers::AppPeer::open(*name, {}, error);
    if (!app) return report(context, explain_open_error(*name, error));
    ProgressBar bar("sending", context.as_json);
    const peers::upgrade_result_t result = run_upgrade(app->upgrade(), std::move(*file), upgrade, waiter, bar);
    json details = result_json(options, checked, result);
    std::string installed;
    if (result.outcome == peers::upgrade_outcome::refused_older) installed = newer_version(*app, waiter);
    if (!installed.empty()) details["installed"] = installed;
    if (result.outcome != peers::upgrade_outcome::done) {
        return report(context, failure_of(options, checked, result, installed), details);
    }
    if (context.as_json) {
        print_result(details);
    } else {
        print_text(options, checked, result);
    }
    return exit_code::ok;
}

}  // namespace

void add_nfz_send(CLI::App& group, context_t& context)
{
    CLI::App* command = add_command(group, context, "send", "upgrade the database of the aircraft",
                                    "vela nfz send nfz.bin --rate 512k");
    const auto options = std::make_shared<options_t>();
    add_send_options(*command, context, *options, "database file");
    command->add_flag("--unchecked", options->unchecked, "send the file even if the service would discard it");
    command->add_flag("--withdraw", options->withdraw,
                      "when giving up half-way, make the service drop what it has at once");
    command->callback([&context, options] { context.result = run(context, *options); });
}

}  // namespace cli
