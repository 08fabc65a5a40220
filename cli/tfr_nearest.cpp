// vela tfr nearest: which areas of a file the service would push to an aircraft at a position.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <numbers>

#include "table.h"
#include "tfr_command.h"

namespace cli {
namespace {

constexpr double RADIANS = std::numbers::pi / 180;

struct options_t {
    std::string file;
    double latitude = 0;
    double longitude = 0;
};

std::string metres_text(float metres)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f m", static_cast<double>(metres));
    return text;
}

void print_text(const options_t& options, size_t areas, const tfr_info_t& selection)
{
    std::printf("%s: at %.6f, %.6f the service keeps %u of %zu areas\n", options.file.c_str(), options.latitude,
                options.longitude, selection.num, areas);
    if (selection.num == 0) return;
    table_t table = {{">", ">id", ">to its edge", "", "kind", "center", ">radius", ">level"}};
    for (size_t i = 0; i < selection.num; i++) {
        const vela_tfr_item_t& area = selection.tfr_items[i];
        const float distance = selection.dis2drone[i];
        table.push_back({std::to_string(i + 1), std::to_string(area.area_id), metres_text(distance),
                         distance < 0 ? "inside" : "", kind_text(area), position_text(area.center),
                         std::to_string(area.radius) + " m", std::to_string(area.area_level)});
    }
    print_table(table);
}

json result_json(const options_t& options, size_t areas, const tfr_info_t& selection)
{
    json result = {{"file", options.file},
                   {"lat", options.latitude},
                   {"lon", options.longitude},
                   {"areas", areas},
                   {"nearest", json::array()}};
    for (size_t i = 0; i < selection.num; i++) {
        json area = {{"distance", static_cast<double>(selection.dis2drone[i])}};
        area.update(area_json(selection.tfr_items[i]));
        result["nearest"].push_back(area);
    }
    return result;
}

exit_code run(const context_t& context, const options_t& options)
{
    failure_t failure;
    const std::optional<std::vector<uint8_t>> file = read_file(options.file, failure);
    if (!file) return report(context, failure);
    const peers::tfr_report_t found = peers::check_tfr_file(*file);
    if (!found.sound()) return report(context, {exit_code::bad_input, options.file + ": " + unsound_text(found)});
    const tfr_info_t selection = nearest_areas(found.areas, options.latitude, options.longitude);
    if (context.as_json) {
        print_result(result_json(options, found.areas.size(), selection));
    } else {
        print_text(options, found.areas.size(), selection);
    }
    return exit_code::ok;
}

}  // namespace

tfr_info_t nearest_areas(const std::vector<vela_tfr_item_t>& areas, double latitude, double longitude)
{
    tfr_info_t selection;
    tfr_selection_reset(&selection);
    for (const vela_tfr_item_t& area : areas)
        tfr_selection_add(&selection, area, tfr_distance_to_edge(latitude * RADIANS, longitude * RADIANS, area));
    return selection;
}

void add_tfr_nearest(CLI::App& group, context_t& context)
{
    CLI::App* command = add_command(group, context, "nearest", "show which areas the service would push at a position",
                                    "vela tfr nearest tfr.bin 48.137154 11.576124");
    const auto options = std::make_shared<options_t>();
    command->add_option("file", options->file, "file of restrictions, - for standard input")->required();
    command->add_option("lat", options->latitude, "latitude, degrees")->required()->check(CLI::Range(-90.0, 90.0));
    command->add_option("lon", options->longitude, "longitude, degrees")->required()->check(CLI::Range(-180.0, 180.0));
    command->callback([&context, options] { context.result = run(context, *options); });
}

}  // namespace cli
