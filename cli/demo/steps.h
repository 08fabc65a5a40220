// The steps of the demonstration as they are shown: a line with a check mark when a step held, the reason when not.
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "failure.h"

namespace cli {

struct step_result_t {
    bool held;
    std::string text;     // what was seen, or what failed
    std::string look_at;  // for a failure: where to look next
};

inline step_result_t held(const std::string& text)
{
    return {true, text, ""};
}
inline step_result_t failed(const std::string& text, const std::string& look_at)
{
    return {false, text, look_at};
}

class Steps {
public:
    explicit Steps(bool quiet) : quiet_(quiet) {}

    // Runs the step and shows it; false when it failed.
    bool run(const std::string& name, const std::function<step_result_t()>& step);

    const std::optional<step_result_t>& failure() const { return failure_; }
    const std::string& failed_step() const { return failed_step_; }
    json as_json() const { return steps_; }

private:
    const bool quiet_;
    json steps_ = json::array();
    std::optional<step_result_t> failure_;
    std::string failed_step_;
};

}  // namespace cli
