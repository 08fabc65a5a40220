#include "afqt_report.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "files.h"
#include "page_sources.h"
#include "report/chromium.h"
#include "report/figures.h"
#include "report/page.h"
#include "report/raw_data.h"
#include "report/series.h"
#include "units.h"

namespace cli {
namespace {

struct options_t {
    std::string run;
    std::string compare;
    std::string page = "report.html";
    std::string pdf;
    std::string png;
};

json info_json(const flight_run_t& run)
{
    json info = json::object();
    for (const auto& [key, text] : run.record->info)
        info[key] = text;
    return info;
}

json run_json(const flight_run_t& run, const bins_t& bins)
{
    json object = figures_json(run);
    object["take_off_s"] = short_number(run.take_off_s(), 7);
    object["info"] = info_json(run);
    object["tag"] = run.tag;
    object["curves"] = curves_of(run, bins);
    object["track"] = {{"name", run.path}, {"path", path_of(run)}};
    if (const auto start = start_of(run.tag)) object["track"]["start"] = {start->latitude, start->longitude};
    for (size_t i = 0; i < run.steps.size(); i++)
        object["steps"][i]["curves"] = step_curves(run.steps[i].signals);
    const raw_data_t data = raw_data_of(run);
    object["data"] = {{"csv_gz", data.csv_gz}, {"rate_hz", short_number(data.rate_hz)}};
    return object;
}

std::string page_of(const std::vector<const flight_run_t*>& runs)
{
    const bins_t bins = bins_for(runs);
    json data = {{"times", bins.times()}, {"runs", json::array()}};
    for (const flight_run_t* run : runs)
        data["runs"].push_back(run_json(*run, bins));
    std::vector<page_part_t> parts = map_parts();
    parts.push_back({"uplot_css", page_sources::uplot_css});
    parts.push_back({"uplot_js", page_sources::uplot_js});
    parts.push_back({"report_css", page_sources::report_css});
    parts.push_back({"plots_js", page_sources::plots_js});
    parts.push_back({"report_js", page_sources::report_js});
    return filled_page(page_sources::report_html, parts, data);
}

bool write_pages(const options_t& options, const std::vector<const flight_run_t*>& runs, failure_t& failure)
{
    const std::string page = page_of(runs);
    if (!write_file(options.page, {reinterpret_cast<const uint8_t*>(page.data()), page.size()}, failure)) return false;
    if (!options.pdf.empty() && !print_page(options.page, print_kind::pdf, options.pdf, failure)) return false;
    return options.png.empty() || print_page(options.page, print_kind::png, options.png, failure);
}

exit_code make_report(const context_t& context, const options_t& options)
{
    failure_t failure;
    const std::optional<flight_run_t> run = read_flight(options.run, failure);
    if (!run) return report(context, failure);
    std::optional<flight_run_t> other;
    if (!options.compare.empty() && !(other = read_flight(options.compare, failure))) return report(context, failure);
    std::vector<const flight_run_t*> runs = {&*run};
    if (other) runs.push_back(&*other);
    if (!write_pages(options, runs, failure)) return report(context, failure);
    if (context.as_json) {
        json result = {{"page", options.page}};
        result.update(figures_json(*run));
        if (other) result["compared"] = figures_json(*other);
        print_result(result);
        return exit_code::ok;
    }
    for (const flight_run_t* one : runs)
        print_figures(*one);
    std::printf("\n%s: the same with plots, for any browser\n", options.page.c_str());
    return exit_code::ok;
}

}  // namespace

void add_afqt_report(CLI::App& group, context_t& context)
{
    CLI::App* command = add_command(group, context, "report", "say how a flight went, on a page that needs no network",
                                    "vela afqt report flight.ulg -o report.html --pdf report.pdf");
    const auto options = std::make_shared<options_t>();
    command
        ->add_option("run", options->run,
                     "flight record (ULog), or a folder with one; log, tag file and motion list "
                     "are read where they lie beside it")
        ->required();
    command->add_option("-o,--output", options->page, "page to write")->capture_default_str();
    command->add_option("--compare", options->compare, "another flight, drawn into the same plots");
    command->add_option("--pdf", options->pdf, "print the page to this file (needs chromium)");
    command->add_option("--png", options->png, "take a picture of the page (needs chromium)");
    command->callback([&context, options] { context.result = make_report(context, *options); });
}

}  // namespace cli
