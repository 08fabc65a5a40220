#include "failure.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace cli {

const char* exit_code_name(exit_code code)
{
    const auto row = std::find_if(EXIT_CODES.begin(), EXIT_CODES.end(),
                                  [code](const exit_code_row_t& one) { return one.code == code; });
    return row == EXIT_CODES.end() ? "unknown" : row->name;
}

namespace {

// Bytes that are no UTF-8 (file names may hold any) are replaced, not refused.
void print_json(const json& object)
{
    std::printf("%s\n", object.dump(2, ' ', false, json::error_handler_t::replace).c_str());
}

}  // namespace

exit_code report(const context_t& context, const failure_t& failure, const json& more)
{
    std::fflush(stdout);
    if (context.as_json) {
        json object = {
            {"ok", false},
            {"exit_code", static_cast<int>(failure.code)},
            {"error", {{"name", exit_code_name(failure.code)}, {"what", failure.what}, {"next", failure.next}}}};
        object.update(more);
        print_json(object);
        return failure.code;
    }
    std::fprintf(stderr, "vela: %s\n", failure.what.c_str());
    if (!failure.next.empty()) std::fprintf(stderr, "%s\n", failure.next.c_str());
    return failure.code;
}

exit_code report(const context_t& context, const failure_t& failure)
{
    return report(context, failure, json::object());
}

void print_result(const json& result)
{
    json object = {{"ok", true}, {"exit_code", 0}};
    object.update(result);
    print_json(object);
}

}  // namespace cli
