// vela tfr inspect: what is in a file of restrictions, and would the service read it?
#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "console.h"
#include "table.h"
#include "tfr_command.h"
#include "tfr_file/tfr_geojson.h"
#include "tfr_file/tfr_remarks.h"
#include "tfr_file/utc_time.h"
#include "units.h"

namespace cli {
namespace {

struct options_t {
    std::string file;
    bool as_geojson = false;
};

std::string verdict_text(const peers::tfr_report_t& report)
{
    if (report.sound()) return styled(style::good, "the service keeps it");
    return styled(style::bad, report.kept ? "the service keeps it, but misreads it" : "the service discards it");
}

void print_areas(const std::vector<vela_tfr_item_t>& areas)
{
    table_t table = {{">", ">id", "kind", "center", ">radius", ">level", ">shape", ">country", "valid from", "until"}};
    for (const vela_tfr_item_t& area : areas) {
        table.push_back({std::to_string(table.size()), std::to_string(area.area_id), kind_text(area),
                         position_text(area.center), std::to_string(area.radius) + " m",
                         std::to_string(area.area_level), std::to_string(area.shape), std::to_string(area.country),
                         peers::utc_text(area.start_at), peers::utc_text(area.end_at)});
    }
    std::printf("\n");
    print_table(table);
}

std::vector<std::string> remark_lines(const peers::tfr_report_t& report)
{
    std::vector<std::string> lines;
    for (const peers::tfr_remark_t& remark : peers::remarks_on(report.areas)) {
        lines.push_back("area " + std::to_string(remark.area) + " (id " + std::to_string(remark.area_id) +
                        "): " + remark.text);
    }
    return lines;
}

void print_text(const std::string& path, const peers::tfr_report_t& report)
{
    std::printf("%s: %s\n", path.c_str(), verdict_text(report).c_str());
    if (!report.kept) std::printf("  why       %s\n", report.reason.c_str());
    if (!report.problem.empty())
        std::printf("  %s   %s\n", report.kept ? "why    " : "besides", report.problem.c_str());
    std::printf("  size      %llu bytes%s\n", static_cast<unsigned long long>(report.size),
                report.size < 1024 ? "" : (", " + size_text(report.size)).c_str());
    if (report.size >= peers::TFR_MIN_SIZE) {
        std::printf("  areas     %zu, head says %u; type %u\n", report.areas.size(), report.head.area_num,
                    report.head.type);
        std::printf("  uid       %s\n", peers::hex_text(report.uid).c_str());
    }
    if (report.size > peers::MD5_SIZE) {
        std::printf("  MD5       %s in its last 16 bytes\n", peers::hex_text(report.digest_stored).c_str());
        std::printf("            %s of the bytes before\n", peers::hex_text(report.digest_found).c_str());
    }
    if (!report.areas.empty()) print_areas(report.areas);
    const std::vector<std::string> remarks = remark_lines(report);
    if (!remarks.empty()) std::printf("\nRemarks:%s\n", list_text(remarks, remarks.size()).c_str());
}

json result_json(const std::string& path, const peers::tfr_report_t& report)
{
    json result = {{"file", path}};
    result.update(report_json(report));
    result["areas"] = json::array();
    for (const vela_tfr_item_t& area : report.areas)
        result["areas"].push_back(area_json(area));
    result["remarks"] = remark_lines(report);
    return result;
}

// The uid only where it says more than the areas do: it must not outlive a change of them by hand.
std::string geojson_of(const peers::tfr_report_t& report)
{
    peers::tfr_recipe_t recipe = {report.head.type, std::nullopt, report.areas};
    if (report.uid != peers::derived_tfr_uid(recipe)) recipe.uid = report.uid;
    return peers::write_tfr_geojson(recipe);
}

exit_code run(const context_t& context, const options_t& options)
{
    failure_t failure;
    const std::optional<std::vector<uint8_t>> file = read_file(options.file, failure);
    if (!file) return report(context, failure);
    const peers::tfr_report_t found = peers::check_tfr_file(*file);
    const bool sound = found.sound();
    if (!context.as_json && !options.as_geojson) {
        print_text(options.file, found);
        return sound ? exit_code::ok : exit_code::bad_input;
    }
    if (!sound) {
        return report(context, {exit_code::bad_input, options.file + ": " + unsound_text(found)},
                      context.as_json ? result_json(options.file, found) : json::object());
    }
    if (context.as_json) {
        print_result(result_json(options.file, found));
    } else {
        std::fputs(geojson_of(found).c_str(), stdout);
    }
    return exit_code::ok;
}

}  // namespace

void add_tfr_inspect(CLI::App& group, context_t& context)
{
    CLI::App* command =
        add_command(group, context, "inspect", "show the areas of a file, and what the service makes of it",
                    "vela tfr inspect tfr.bin --geojson > areas.geojson");
    const auto options = std::make_shared<options_t>();
    command->add_option("file", options->file, "file of restrictions, - for standard input")->required();
    command->add_flag("--geojson", options->as_geojson, "print GeoJSON, from which `make` builds the same file")
        ->excludes(command->get_option("--json"));
    command->callback([&context, options] { context.result = run(context, *options); });
}

}  // namespace cli
