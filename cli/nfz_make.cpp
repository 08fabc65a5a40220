// vela nfz make: builds a valid database file.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "nfz_command.h"
#include "units.h"

namespace cli {
namespace {

struct options_t {
    std::string output;
    std::string version;
    uint32_t circles = 100;
    uint32_t zones = 20;
    std::string size;
    std::string content;
};

failure_t usage(const std::string& what, const std::string& next)
{
    return {exit_code::usage, what, next};
}

// Content bytes of a generated database; none with `failure` filled.
std::optional<uint64_t> content_size(const options_t& options, failure_t& failure)
{
    const uint64_t tables = peers::nfz_tables_size(options.circles, options.zones);
    if (options.size.empty() && tables + peers::NFZ_MIN_SIZE <= peers::NFZ_MAX_SIZE) return tables;
    const std::optional<uint64_t> size = options.size.empty() ? tables : parse_size(options.size);
    const uint64_t least = tables + peers::NFZ_MIN_SIZE;
    if (size && *size >= least && *size <= peers::NFZ_MAX_SIZE) return *size - peers::NFZ_MIN_SIZE;
    failure = usage("--size: \"" + options.size + "\" is not possible here, allowed are " + std::to_string(least) +
                        " bytes to 4294967295 bytes",
                    std::to_string(options.circles) + " circles and " + std::to_string(options.zones) +
                        " zones take that much. Write bytes, or 512k, 1M, 1G.");
    return std::nullopt;
}

std::optional<peers::nfz_recipe_t> recipe_of(const options_t& options, failure_t& failure)
{
    const std::optional<peers::nfz_version_t> version = peers::parse_version(options.version);
    if (!version) {
        failure = usage("--version: \"" + options.version + "\" is no version, wanted are four numbers with points",
                        "For example --version 2.0.0.1");
        return std::nullopt;
    }
    peers::nfz_recipe_t recipe = {*version, options.circles, options.zones, {}};
    if (!options.content.empty()) {
        std::optional<std::vector<uint8_t>> content = read_file(options.content, failure);
        if (!content) return std::nullopt;
        recipe.content = std::move(*content);
        return recipe;
    }
    const std::optional<uint64_t> size = content_size(options, failure);
    if (!size) return std::nullopt;
    recipe.content = peers::generate_nfz_content(*version, *size);
    return recipe;
}

exit_code run(const context_t& context, const options_t& options)
{
    failure_t failure;
    const std::optional<peers::nfz_recipe_t> recipe = recipe_of(options, failure);
    if (!recipe) return report(context, failure);
    if (recipe->content.size() > peers::NFZ_MAX_SIZE - peers::NFZ_MIN_SIZE) {
        return report(context, {exit_code::bad_input, options.content + ": too large for a database of under 4 GiB"});
    }
    const std::vector<uint8_t> file = peers::build_nfz_file(*recipe);
    if (!write_file(options.output, file, failure)) return report(context, failure);
    const peers::nfz_report_t made = peers::check_nfz_file(file);
    if (options.output == "-") return exit_code::ok;
    if (context.as_json) {
        json result = {{"file", options.output}};
        result.update(report_json(made));
        print_result(result);
    } else {
        std::printf("%s: version %s, %s, MD5 %s\n", options.output.c_str(), peers::version_text(made.version).c_str(),
                    size_text(made.size).c_str(), peers::hex_text(made.digest_stored).c_str());
    }
    return exit_code::ok;
}

}  // namespace

void add_nfz_make(CLI::App& group, context_t& context)
{
    CLI::App* command = add_command(group, context, "make", "build a valid database file",
                                    "vela nfz make -o nfz.bin --version 2.0.0.1 --size 1M");
    const auto options = std::make_shared<options_t>();
    command->add_option("-o,--output", options->output, "file to write, - for standard output")->required();
    command->add_option("--version", options->version, "version of the database, a.b.c.d")->required();
    command->add_option("--circles", options->circles, "number of circles in its head")->capture_default_str();
    command->add_option("--zones", options->zones, "number of zones in its head")->capture_default_str();
    auto* size = command->add_option("--size", options->size, "bytes of the whole file, for example 4096, 512k, 1M");
    command->add_option("--content", options->content, "file with what follows the head; else it is generated")
        ->excludes(size);
    command->callback([&context, options] { context.result = run(context, *options); });
}

}  // namespace cli
