// What the commands that send a file to the aircraft have in common: options, and the end in numbers.
#pragma once

#include "app/numbered_transfer.h"
#include "app/transfer_result.h"
#include "command.h"

namespace cli {

struct send_options_t {
    std::string file;
    std::string as = "app/phone";
    std::string rate;
    double timeout_s = 1.0;
    uint32_t tries = 5;
};

// The file, --route, --as, --rate, --timeout and --tries.
void add_send_options(CLI::App& command, context_t& context, send_options_t& options, const std::string& file_help);

// False with `failure` filled when the rate is none.
bool apply(const send_options_t& options, peers::transfer_options_t& transfer, failure_t& failure);

// Outcome, stage, amounts and times; `size` is that of the file.
json transfer_json(const peers::transfer_result_t& result, uint64_t size);

// "  1.0 MiB in 2.6 s (412 KiB/s), 1096 <unit>, 0 sent again"
void print_amounts(const peers::transfer_result_t& result, const char* unit);

}  // namespace cli
