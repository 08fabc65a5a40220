// vela tfr map: restrictions, where the service looks from, and a flight, on one page.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "page_sources.h"
#include "report/figures.h"
#include "report/flight_run.h"
#include "report/page.h"
#include "report/series.h"
#include "tfr_command.h"
#include "tfr_file/tfr_geojson.h"

namespace cli {
namespace {

struct options_t {
    std::string file;
    bool is_geojson = false;
    std::string output = "map.html";
    std::vector<double> at;  // latitude, longitude; empty: nowhere
    std::string record;
};

std::optional<std::vector<vela_tfr_item_t>> read_areas(const options_t& options, failure_t& failure)
{
    const std::optional<std::vector<uint8_t>> bytes = read_file(options.file, failure);
    if (!bytes) return std::nullopt;
    if (!options.is_geojson) {
        const peers::tfr_report_t found = peers::check_tfr_file(*bytes);
        if (found.sound()) return found.areas;
        failure = {exit_code::bad_input, options.file + ": " + unsound_text(found),
                   "Is it GeoJSON? Then say --geojson."};
        return std::nullopt;
    }
    const peers::tfr_geojson_t read =
        peers::read_tfr_geojson({reinterpret_cast<const char*>(bytes->data()), bytes->size()});
    if (read.problem_count == 0) return read.recipe.areas;
    failure = {exit_code::bad_input, options.file + ": " + read.problems.front().text(),
               "`vela tfr make " + options.file +
                   " -o tfr.bin` lists every problem in it. A file that `make` wrote needs no --geojson."};
    return std::nullopt;
}

json areas_json(const std::vector<vela_tfr_item_t>& areas, const options_t& options)
{
    json list = json::array();
    for (const vela_tfr_item_t& area : areas)
        list.push_back(area_json(area));
    if (options.at.empty()) return list;
    const tfr_info_t selection = nearest_areas(areas, options.at[0], options.at[1]);
    for (size_t place = 0; place < selection.num; place++) {
        const json nearest = area_json(selection.tfr_items[place]);
        for (json& area : list) {
            if (area.contains("place") || area != nearest) continue;
            area["place"] = place + 1;
            area["distance"] = short_number(static_cast<double>(selection.dis2drone[place]));
            break;
        }
    }
    return list;
}

// A record knows metres of its start only: where that is, the tag file beside it says, or --at.
bool add_track(const options_t& options, json& map, failure_t& failure)
{
    if (options.record.empty()) return true;
    const std::optional<flight_run_t> run = read_flight(options.record, failure);
    if (!run) return false;
    std::optional<start_point_t> start = start_of(run->tag);
    if (!start && !options.at.empty()) start = start_point_t{options.at[0], options.at[1]};
    if (!start) {
        failure = {exit_code::usage, run->path + ": where the flight began is not known, no tag file lies beside it",
                   "Say where with --at LAT LON."};
        return false;
    }
    map["tracks"].push_back(
        {{"name", run->path}, {"start", {start->latitude, start->longitude}}, {"path", path_of(*run)}});
    return true;
}

exit_code run(const context_t& context, const options_t& options)
{
    failure_t failure;
    const std::optional<std::vector<vela_tfr_item_t>> areas = read_areas(options, failure);
    if (!areas) return report(context, failure);
    json map = {{"title", options.file}, {"areas", areas_json(*areas, options)}, {"tracks", json::array()}};
    if (!options.at.empty()) map["at"] = options.at;
    if (!add_track(options, map, failure)) return report(context, failure);
    std::vector<page_part_t> parts = map_parts();
    parts.push_back({"land", page_sources::land_json});
    const std::string page = filled_page(page_sources::map_html, parts, map);
    if (!write_file(options.output, {reinterpret_cast<const uint8_t*>(page.data()), page.size()}, failure))
        return report(context, failure);
    if (context.as_json)
        print_result({{"file", options.output}, {"areas", areas->size()}, {"tracks", map["tracks"].size()}});
    else
        std::printf("%s: %s\n", options.output.c_str(), count_text(areas->size(), "area").c_str());
    return exit_code::ok;
}

}  // namespace

void add_tfr_map(CLI::App& group, context_t& context)
{
    CLI::App* command = add_command(group, context, "map", "draw the areas of a file on a page that needs no network",
                                    "vela tfr map tfr.bin -o map.html --at 48.137154 11.576124");
    const auto options = std::make_shared<options_t>();
    command->add_option("file", options->file, "file of restrictions, - for standard input")->required();
    command->add_flag("--geojson", options->is_geojson, "the file is GeoJSON, as `make` reads it");
    command->add_option("-o,--output", options->output, "page to write")->capture_default_str();
    command
        ->add_option("--at", options->at,
                     "LAT LON, degrees: marks the areas that the service would push there, nearest first")
        ->expected(2)
        ->type_name("FLOAT FLOAT");
    command->add_option("--record", options->record,
                        "flight record, or a folder with one: its track, from where the tag file beside it says, else "
                        "from --at");
    command->callback([&context, options] { context.result = run(context, *options); });
}

}  // namespace cli
