#include "nfz_command.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace cli {

void add_nfz_commands(CLI::App& tool, context_t& context)
{
    CLI::App* group = tool.add_subcommand("nfz", "no-fly-zone databases: make, inspect, send, read back");
    group->require_subcommand(1);
    group->footer("Example: vela nfz make -o nfz.bin --version 2.0.0.1 && vela nfz send nfz.bin");
    add_nfz_make(*group, context);
    add_nfz_inspect(*group, context);
    add_nfz_send(*group, context);
    add_nfz_read(*group, context);
}

json report_json(const peers::nfz_report_t& report)
{
    json object = {{"kept", report.kept}, {"reason", report.reason}, {"size", report.size}};
    if (report.has_head) {
        object["head"] = {{"version", peers::version_text(report.version)},
                          {"circle_num", report.circles},
                          {"circle_base", report.circle_base},
                          {"nfz_num", report.zones},
                          {"nfz_base", report.zone_base}};
    } else {
        object["head"] = nullptr;
    }
    object["md5_stored"] = peers::hex_text(report.digest_stored);
    object["md5_found"] = peers::hex_text(report.digest_found);
    return object;
}

}  // namespace cli
