#include "afqt_check.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "afqt_run.h"
#include "files.h"
#include "gnuplot.h"

namespace cli {
namespace {

struct options_t {
    std::string list;
    std::string drone;
    std::string plot;
    bool strict = false;
};

json check_json(const options_t& options, const peers::list_check_t& check)
{
    json object = {{"file", options.list},
                   {"errors", check.count(peers::severity::error)},
                   {"warnings", check.count(peers::severity::warning)},
                   {"notes", check.count(peers::severity::note)},
                   {"findings", findings_json(check.findings)}};
    object.update(predictions_json(check));
    return object;
}

bool draw(const options_t& options, const peers::list_check_t& check, failure_t& failure)
{
    if (options.plot.empty() || check.predictions.empty()) return true;
    const std::string commands = commands_picture(check, "Commands of " + options.list, options.plot);
    return run_gnuplot(commands, options.plot, failure);
}

exit_code verdict(const context_t& context, const options_t& options, const peers::list_check_t& check)
{
    const bool bad =
        check.count(peers::severity::error) > 0 || (options.strict && check.count(peers::severity::warning) > 0);
    if (bad) {
        return report(context,
                      {exit_code::bad_input, options.list + ": " + counts_text(check),
                       "docs/motion-lists.md describes the file; `vela fly` flies it on a simulated aircraft."},
                      check_json(options, check));
    }
    if (context.as_json)
        print_result(check_json(options, check));
    else
        std::printf("%s: %s\n", options.list.c_str(), counts_text(check).c_str());
    return exit_code::ok;
}

exit_code run(const context_t& context, const options_t& options)
{
    failure_t failure;
    const auto bytes = read_file(options.list, failure);
    if (!bytes) return report(context, failure);
    const std::string text(bytes->begin(), bytes->end());
    const peers::drones_t drones = options.drone.empty() ? peers::known_drones() : peers::drone_named(options.drone);
    const peers::list_check_t check = peers::check_motion_list(text, drones);
    if (!context.as_json) {
        std::fputs(findings_text(options.list, text, check.findings).c_str(), stdout);
        print_predictions(check);
    }
    if (!draw(options, check, failure)) return report(context, failure);
    return verdict(context, options, check);
}

}  // namespace

void add_afqt_check(CLI::App& group, context_t& context)
{
    CLI::App* command = add_command(group, context, "check", "look through a motion list before it is flown",
                                    "vela afqt check LIST.json --drone qx520 --plot commands.svg");
    const auto options = std::make_shared<options_t>();
    command->add_option("list", options->list, "motion list, - for standard input")->required();
    command->add_option("--drone", options->drone, "rv880 or qx520, whose craft table counts; else both")
        ->check([](const std::string& name) {
            return peers::drone_named(name).empty() ? name + ": wanted is rv880 or qx520" : std::string();
        });
    command->add_option("--plot", options->plot, "draw what is commanded over time (SVG)");
    command->add_flag("--strict", options->strict, "warnings count as errors");
    command->callback([&context, options] { context.result = run(context, *options); });
}

bool list_may_fly(const context_t& context, const std::string& path, bool force)
{
    failure_t failure;
    const auto bytes = read_file(path, failure);
    if (!bytes) {
        print_line(context, 0, "the list is not looked through: " + failure.what + "; name a copy with --list",
                   {{"checked", false}, {"why", failure.what}});
        return true;
    }
    const std::string text(bytes->begin(), bytes->end());
    const peers::list_check_t check = peers::check_motion_list(text);
    const bool bad = check.count(peers::severity::error) > 0;
    if (!bad || force) {
        const std::string more = check.findings.empty() ? "" : "; `vela afqt check " + path + "` tells more";
        print_line(context, 0, path + ": " + counts_text(check) + more,
                   {{"checked", true}, {"file", path}, {"findings", findings_json(check.findings)}});
        return true;
    }
    if (!context.as_json) std::fputs(findings_text(path, text, check.findings).c_str(), stdout);
    report(context,
           {exit_code::bad_input, path + ": " + counts_text(check),
            "The test was not switched on. Mend the list, or fly it all the same with --force."},
           {{"file", path}, {"findings", findings_json(check.findings)}});
    return false;
}

}  // namespace cli
