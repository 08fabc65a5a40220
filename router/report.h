// What the router tells people and scripts: one line for each thing that changes, never one for each record.
#pragma once

#include <string>

#include "failure.h"

namespace router {

using cli::json;

class Report {
public:
    explicit Report(bool as_json) : as_json_(as_json) {}

    // As a line on standard error; or, with --json, as an object on a line of standard output: {"event": …}.
    void say(const char* event, const json& more, const std::string& text) const;

private:
    const bool as_json_;
};

}  // namespace router
