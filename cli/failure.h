// How a command ends: with a result, or with a failure that says what was found and what to do next.
#pragma once

#include <string>

#include <nlohmann/json_fwd.hpp>

#include "exit_codes.h"

namespace cli {

using json = nlohmann::ordered_json;  // keys stay in the order in which they are said

// What a command needs of the command line as a whole.
struct context_t {
    std::string route = "/usr/local/tarn/vela.json";
    bool as_json = false;
    exit_code result = exit_code::ok;  // set by the command that ran
};

struct failure_t {
    exit_code code = exit_code::ok;
    std::string what = {};  // what was found, and where
    std::string next = {};  // what to do; may be empty
};

// Says it on standard error, or as one JSON object on standard output that also holds the members of `more`. Returns
// its code.
exit_code report(const context_t& context, const failure_t& failure, const json& more);
exit_code report(const context_t& context, const failure_t& failure);

// The JSON object of a success: {"ok": true, "exit_code": 0, …members of `result`…}.
void print_result(const json& result);

}  // namespace cli
