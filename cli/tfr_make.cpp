// vela tfr make: builds a file of restrictions from GeoJSON.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "tfr_command.h"
#include "tfr_file/tfr_geojson.h"
#include "tfr_file/tfr_remarks.h"
#include "units.h"

namespace cli {
namespace {

struct options_t {
    std::string input;
    std::string output;
    std::string uid;
};

failure_t refusal(const options_t& options, const peers::tfr_geojson_t& read)
{
    const peers::tfr_problem_t& first = read.problems.front();
    std::string what = options.input + (first.line > 0 ? ":" : ": ");
    if (read.problem_count == 1) {
        what += first.text();
    } else {
        std::vector<std::string> lines;
        for (const peers::tfr_problem_t& problem : read.problems)
            lines.push_back(problem.text());
        what += std::to_string(read.problem_count) + " problems" + list_text(lines, read.problem_count);
    }
    return {exit_code::bad_input, what, "Nothing was written. docs/tfr-files.md describes what a file can hold."};
}

json problems_json(const peers::tfr_geojson_t& read)
{
    json list = json::array();
    for (const peers::tfr_problem_t& problem : read.problems) {
        json object = json::object();
        if (problem.feature > 0) object["feature"] = problem.feature;
        if (problem.line > 0) object["line"] = problem.line;
        if (problem.line > 0) object["column"] = problem.column;
        object["property"] = problem.property;
        object["reason"] = problem.reason;
        list.push_back(object);
    }
    return {{"problem_count", read.problem_count}, {"problems", list}};
}

std::string feature_text(size_t feature, uint32_t id)
{
    return "feature " + std::to_string(feature) + " (id " + std::to_string(id) + ")";
}

// A uid that is not that of the content: the aircraft takes two files of one uid for the same.
std::string uid_warning(const peers::tfr_recipe_t& recipe)
{
    if (!recipe.uid) return {};
    if (std::all_of(recipe.uid->begin(), recipe.uid->end(), [](uint8_t byte) { return byte == 0; })) {
        return "the uid is zero, as if there was no file: `vela tfr send` cannot tell that it is there already";
    }
    if (*recipe.uid == peers::derived_tfr_uid(recipe)) return {};
    return "the uid is given, not derived from these areas: change it whenever they change, or leave it out";
}

std::vector<std::string> warnings_on(const peers::tfr_geojson_t& read)
{
    std::vector<std::string> warnings;
    for (const peers::tfr_remark_t& remark : peers::remarks_on(read.recipe.areas))
        warnings.push_back(feature_text(remark.area, remark.area_id) + ": " + remark.text);
    for (const std::string& name : read.unknown)
        warnings.push_back("property \"" + name + "\" has no meaning here");
    if (std::string text = uid_warning(read.recipe); !text.empty()) warnings.push_back(std::move(text));
    return warnings;
}

std::vector<std::string> computed_lines(const peers::tfr_geojson_t& read)
{
    std::vector<std::string> lines;
    for (const peers::tfr_computed_t& computed : read.computed) {
        const vela_tfr_item_t& area = read.recipe.areas[computed.feature - 1];
        std::string line = feature_text(computed.feature, area.area_id) + ": ";
        if (computed.center) line += "center " + position_text(area.center);
        if (computed.center && computed.radius) line += " and ";
        if (computed.radius) line += "radius " + std::to_string(area.radius) + " m";
        lines.push_back(line + " computed from the corners");
    }
    return lines;
}

void print_text(const options_t& options, const peers::tfr_report_t& made, const peers::tfr_geojson_t& read)
{
    const auto circles = static_cast<size_t>(
        std::count_if(made.areas.begin(), made.areas.end(), [](const auto& area) { return area.point_num == 0; }));
    std::printf("%s: %s (%s, %s), %s, uid %s", options.output.c_str(), count_text(made.areas.size(), "area").c_str(),
                count_text(circles, "circle").c_str(), count_text(made.areas.size() - circles, "polygon").c_str(),
                size_text(made.size).c_str(), peers::hex_text(made.uid).c_str());
    const std::vector<std::string> lines = computed_lines(read);
    std::printf("%s\n", list_text(lines, lines.size()).c_str());
}

json result_json(const options_t& options, const peers::tfr_report_t& made, const peers::tfr_geojson_t& read,
                 const std::vector<std::string>& warnings)
{
    json result = {{"file", options.output}};
    result.update(report_json(made));
    result["computed"] = json::array();
    for (const peers::tfr_computed_t& one : read.computed) {
        const vela_tfr_item_t& area = read.recipe.areas[one.feature - 1];
        json object = {{"feature", one.feature}, {"id", uint32_t{area.area_id}}};
        object["center"] = one.center ? area_json(area)["center"] : json();
        object["radius"] = one.radius ? json(uint16_t{area.radius}) : json();
        result["computed"].push_back(object);
    }
    result["warnings"] = warnings;
    return result;
}

exit_code run(const context_t& context, const options_t& options)
{
    failure_t failure;
    const std::optional<std::vector<uint8_t>> text = read_file(options.input, failure);
    if (!text) return report(context, failure);
    peers::tfr_geojson_t read = peers::read_tfr_geojson({reinterpret_cast<const char*>(text->data()), text->size()});
    if (read.problem_count > 0) return report(context, refusal(options, read), problems_json(read));
    if (!options.uid.empty()) read.recipe.uid = peers::parse_tfr_uid(options.uid);
    if (!options.uid.empty() && !read.recipe.uid) {
        return report(context, {exit_code::usage, "--uid: \"" + options.uid + "\" is no uid",
                                "Write 32 hexadecimal digits, or leave it out: it is derived from the areas then."});
    }
    const std::vector<uint8_t> file = peers::build_tfr_file(read.recipe);
    if (!write_file(options.output, file, failure)) return report(context, failure);
    const std::vector<std::string> warnings = warnings_on(read);
    const peers::tfr_report_t made = peers::check_tfr_file(file);
    const bool to_stdout = options.output == "-";
    if (context.as_json && !to_stdout) {
        print_result(result_json(options, made, read, warnings));
        return exit_code::ok;
    }
    if (!to_stdout) print_text(options, made, read);
    std::fflush(stdout);
    if (!warnings.empty()) {
        std::fprintf(stderr, "Warnings:%s\n", list_text(warnings, warnings.size()).c_str());
    }
    return exit_code::ok;
}

}  // namespace

void add_tfr_make(CLI::App& group, context_t& context)
{
    CLI::App* command = add_command(group, context, "make", "build a file of restrictions from GeoJSON",
                                    "vela tfr make areas.geojson -o tfr.bin");
    const auto options = std::make_shared<options_t>();
    command->add_option("areas", options->input, "GeoJSON with the areas, - for standard input")->required();
    command->add_option("-o,--output", options->output, "file to write, - for standard output")->required();
    command->add_option("--uid", options->uid, "uid of the file, 32 hexadecimal digits; else derived from the areas");
    command->callback([&context, options] { context.result = run(context, *options); });
}

}  // namespace cli
