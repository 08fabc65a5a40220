#include "tfr_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "tfr_file/utc_time.h"

namespace cli {
namespace {

constexpr size_t LISTED = 20;

json position_json(const vela_tfr_gps& position)
{
    return {{"lat", position.lat / 1e6}, {"lon", position.lng / 1e6}};
}

}  // namespace

void add_tfr_commands(CLI::App& tool, context_t& context)
{
    CLI::App* group =
        tool.add_subcommand("tfr", "temporary flight restrictions: make, inspect, send, look around, draw");
    group->require_subcommand(1);
    group->footer("Example: vela tfr make areas.geojson -o tfr.bin && vela tfr send tfr.bin");
    add_tfr_make(*group, context);
    add_tfr_inspect(*group, context);
    add_tfr_send(*group, context);
    add_tfr_nearest(*group, context);
    add_tfr_map(*group, context);
}

std::string unsound_text(const peers::tfr_report_t& report)
{
    return report.kept ? "the service keeps it, but misreads it: " + report.problem
                       : "the service discards it: " + report.reason;
}

json report_json(const peers::tfr_report_t& report)
{
    return {{"kept", report.kept},
            {"reason", report.reason},
            {"problem", report.problem},
            {"size", report.size},
            {"area_num", uint16_t{report.head.area_num}},
            {"type", uint8_t{report.head.type}},
            {"uid", peers::hex_text(report.uid)},
            {"md5_stored", peers::hex_text(report.digest_stored)},
            {"md5_found", peers::hex_text(report.digest_found)}};
}

json area_json(const vela_tfr_item_t& area)
{
    json corners = json::array();
    for (size_t i = 0; i < area.point_num; i++)
        corners.push_back(position_json(area.points[i]));
    return {{"id", uint32_t{area.area_id}},         {"corners", corners},
            {"center", position_json(area.center)}, {"radius", uint16_t{area.radius}},
            {"level", uint8_t{area.area_level}},    {"shape", uint8_t{area.shape}},
            {"country", uint16_t{area.country}},    {"start", peers::utc_text(area.start_at)},
            {"end", peers::utc_text(area.end_at)}};
}

std::string count_text(size_t count, const char* what)
{
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string kind_text(const vela_tfr_item_t& area)
{
    return area.point_num == 0 ? "circle" : "polygon of " + std::to_string(area.point_num);
}

std::string position_text(const vela_tfr_gps& position)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.6f, %.6f", position.lat / 1e6, position.lng / 1e6);
    return text;
}

std::string list_text(const std::vector<std::string>& lines, size_t count)
{
    std::string text;
    const size_t shown = std::min(lines.size(), LISTED);
    for (size_t i = 0; i < shown; i++)
        text += "\n  " + lines[i];
    if (count > shown) text += "\n  and " + std::to_string(count - shown) + " more";
    return text;
}

}  // namespace cli
