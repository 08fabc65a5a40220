#include "send_options.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "units.h"

namespace cli {
namespace {

double seconds_of(const peers::transfer_result_t& result)
{
    return static_cast<double>(result.elapsed_us) / 1e6;
}

double rate_of(const peers::transfer_result_t& result)
{
    const double seconds = seconds_of(result);
    return seconds > 0 ? static_cast<double>(result.bytes) / seconds : 0;
}

}  // namespace

void add_send_options(CLI::App& command, context_t& context, send_options_t& options, const std::string& file_help)
{
    command.add_option("file", options.file, file_help)->required();
    add_route_option(command, context);
    add_as_option(command, options.as);
    command.add_option("--rate", options.rate, "at most so many bytes a second, for example 512k");
    command.add_option("--timeout", options.timeout_s, "seconds to wait for an answer before sending again")
        ->check(CLI::Range(0.05, 600.0))
        ->capture_default_str();
    command.add_option("--tries", options.tries, "sends of one request before giving up")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
}

bool apply(const send_options_t& options, peers::transfer_options_t& transfer, failure_t& failure)
{
    transfer.reply_timeout_us = static_cast<uint32_t>(options.timeout_s * 1e6);
    transfer.tries = options.tries;
    if (options.rate.empty()) return true;
    const std::optional<uint64_t> rate = parse_size(options.rate);
    transfer.bytes_per_second = rate.value_or(0);
    if (transfer.bytes_per_second > 0) return true;
    failure = {exit_code::usage, "--rate: \"" + options.rate + "\" is no rate",
               "Write bytes a second, for example 512k"};
    return false;
}

json transfer_json(const peers::transfer_result_t& result, uint64_t size)
{
    return {{"outcome", peers::outcome_name(result.outcome)},
            {"stage", peers::stage_name(result.stage)},
            {"service_code", result.code},
            {"size", size},
            {"bytes", result.bytes},
            {"blocks", result.blocks},
            {"resends", result.resends},
            {"seconds", seconds_of(result)},
            {"bytes_per_second", rate_of(result)}};
}

void print_amounts(const peers::transfer_result_t& result, const char* unit)
{
    std::printf("  %s in %s (%s), %u %s, %u sent again\n", size_text(result.bytes).c_str(),
                duration_text(seconds_of(result)).c_str(), rate_text(rate_of(result)).c_str(), result.blocks, unit,
                result.resends);
}

}  // namespace cli
