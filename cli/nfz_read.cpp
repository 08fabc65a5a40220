// vela nfz read: reads the database back from the aircraft, all of it or a range.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "bus_access.h"
#include "nfz_command.h"
#include "read_run.h"
#include "units.h"

namespace cli {
namespace {

struct options_t {
    std::string output;
    std::string as = "factory/station";
    uint32_t offset = 0;
    std::optional<uint32_t> length;
    double timeout_s = 1.0;
    uint32_t tries = 5;
};

void print_dump(peers::bytes_view bytes, uint32_t offset)
{
    for (size_t at = 0; at < bytes.size(); at += 16) {
        const peers::bytes_view row = bytes.subspan(at, std::min<size_t>(16, bytes.size() - at));
        std::string hex;
        std::string text;
        for (const uint8_t byte : row) {
            hex += peers::hex_text({&byte, 1}) + " ";
            text += byte >= 0x20 && byte < 0x7f ? static_cast<char>(byte) : '.';
        }
        std::printf("%08zx  %-48s  %s\n", offset + at, hex.c_str(), text.c_str());
    }
}

json result_json(const options_t& options, const peers::read_result_t& result)
{
    json object = {{"outcome", peers::outcome_name(result.outcome)},
                   {"service_code", result.code},
                   {"offset", options.offset},
                   {"bytes", result.data.size()},
                   {"requests", result.requests},
                   {"resends", result.resends},
                   {"seconds", static_cast<double>(result.elapsed_us) / 1e6}};
    if (!options.output.empty()) object["file"] = options.output;
    if (options.output.empty() && !result.whole_file) object["data"] = peers::hex_text(result.data);
    if (result.whole_file) object["database"] = report_json(peers::check_nfz_file(result.data));
    return object;
}

void print_text(const options_t& options, const peers::read_result_t& result)
{
    const double seconds = static_cast<double>(result.elapsed_us) / 1e6;
    if (options.output.empty() && !result.whole_file) print_dump(result.data, options.offset);
    std::printf("%s read in %s, %u requests, %u sent again\n", size_text(result.data.size()).c_str(),
                duration_text(seconds).c_str(), result.requests, result.resends);
    if (result.whole_file) {
        const peers::nfz_report_t database = peers::check_nfz_file(result.data);
        std::printf("%s version %s, MD5 %s verified\n", styled(style::good, "✓").c_str(),
                    peers::version_text(database.version).c_str(), peers::hex_text(database.digest_found).c_str());
    }
    if (!options.output.empty()) std::printf("written to %s\n", options.output.c_str());
}

// What was read goes to the file also when its digest is wrong: one then wants to look at it.
exit_code finish(const context_t& context, const options_t& options, const peers::read_result_t& result)
{
    failure_t failure;
    const json details = result_json(options, result);
    if (result.outcome != peers::read_outcome::done) {
        return report(context, {exit_code_of(result.outcome), result.what, result.next}, details);
    }
    if (!options.output.empty() && !write_file(options.output, result.data, failure)) {
        return report(context, failure, details);
    }
    if (result.whole_file) {
        const peers::nfz_report_t database = peers::check_nfz_file(result.data);
        if (!database.kept) {
            return report(context,
                          {exit_code::verification, "the database on the aircraft is damaged: " + database.reason,
                           "The service discards it at its next start: send a good one."},
                          details);
        }
    }
    if (options.output == "-") return exit_code::ok;
    if (context.as_json) {
        print_result(details);
    } else {
        print_text(options, result);
    }
    return exit_code::ok;
}

exit_code run(const context_t& context, const options_t& options)
{
    failure_t failure;
    Waiter waiter;
    if (options.output == "-" && context.as_json) {
        return report(context, {exit_code::usage, "--json and -o - both want standard output", "Name a file with -o."});
    }
    const std::unique_ptr<peers::BusEndpoint> endpoint = open_endpoint(context, options.as, failure);
    if (!endpoint) return report(context, failure);
    peers::DatabaseReader reader(*endpoint);
    ProgressBar bar("reading", context.as_json || options.output == "-");
    peers::read_job_t job;
    job.offset = options.offset;
    job.length = options.length;
    job.reply_timeout_us = static_cast<uint32_t>(options.timeout_s * 1e6);
    job.tries = options.tries;
    const peers::read_result_t result = run_read(reader, std::move(job), options.length.value_or(0), waiter, bar);
    endpoint->stop();
    return finish(context, options, result);
}

}  // namespace

void add_nfz_read(CLI::App& group, context_t& context)
{
    CLI::App* command = add_command(group, context, "read", "read the database back from the aircraft and verify it",
                                    "vela nfz read -o installed.bin");
    const auto options = std::make_shared<options_t>();
    command->add_option("-o,--output", options->output, "file to write, - for standard output");
    command->add_option("--offset", options->offset, "first byte")->capture_default_str();
    command->add_option("--length", options->length, "number of bytes; up to the end when not given");
    add_route_option(*command, context);
    add_as_option(*command, options->as);
    command->add_option("--timeout", options->timeout_s, "seconds to wait for an answer before asking again")
        ->check(CLI::Range(0.05, 600.0))
        ->capture_default_str();
    command->add_option("--tries", options->tries, "times to ask for one range before giving up")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    command->callback([&context, options] { context.result = run(context, *options); });
}

}  // namespace cli
