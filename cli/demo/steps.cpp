#include "demo/steps.h"

#include <chrono>
#include <cstdio>

#include "console.h"

namespace cli {

bool Steps::run(const std::string& name, const std::function<step_result_t()>& step)
{
    const auto start = std::chrono::steady_clock::now();
    // On a terminal the step stands there while it works, and is overwritten by its result.
    if (!quiet_ && on_terminal()) {
        std::printf("%s %s", styled(style::dim, "·").c_str(), name.c_str());
        std::fflush(stdout);
    }
    const step_result_t result = step();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    steps_.push_back({{"name", name}, {"ok", result.held}, {"seconds", took.count()}, {"text", result.text}});
    if (!quiet_) {
        if (on_terminal()) std::printf("\r\033[K");
        std::printf("%s %-28s %s\n", (result.held ? styled(style::good, "✓") : styled(style::bad, "✗")).c_str(),
                    name.c_str(), result.text.c_str());
        std::fflush(stdout);
    }
    if (result.held) return true;
    failure_ = result;
    failed_step_ = name;
    return false;
}

}  // namespace cli
