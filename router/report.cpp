#include "report.h"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace router {

void Report::say(const char* event, const json& more, const std::string& text) const
{
    if (!as_json_) {
        std::fprintf(stderr, "tarn-router: %s\n", text.c_str());
        return;
    }
    json object = {{"event", event}};
    object.update(more);
    std::printf("%s\n", object.dump(-1, ' ', false, json::error_handler_t::replace).c_str());
    std::fflush(stdout);
}

}  // namespace router
