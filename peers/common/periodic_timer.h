// A platform timer that ends with its owner.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "kest_types.h"

namespace peers {

class PeriodicTimer {
public:
    PeriodicTimer() = default;
    ~PeriodicTimer() { stop(); }
    PeriodicTimer(const PeriodicTimer&) = delete;
    PeriodicTimer& operator=(const PeriodicTimer&) = delete;

    // Calls `tick` every `period_us` (not 0), first one period from now, on a thread of the platform. An earlier
    // schedule ends first. 0 or the platform's negative errno.
    kest_result_t start(const std::string& name, uint32_t period_us, std::function<void()> tick);

    // Returns when no tick runs and none will come. Not from within `tick`, nor with a lock held that `tick` takes.
    void stop();

    bool running() const { return handle_ != nullptr; }

private:
    static void entry(void* param);

    std::string name_;
    std::function<void()> tick_;
    void* handle_ = nullptr;
};

}  // namespace peers
