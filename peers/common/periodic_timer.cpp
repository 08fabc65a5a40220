#include "common/periodic_timer.h"

#include <utility>

#include "kest_osal.h"
#include "tarn_host.h"

namespace peers {

kest_result_t PeriodicTimer::start(const std::string& name, uint32_t period_us, std::function<void()> tick)
{
    stop();
    name_ = name;
    tick_ = std::move(tick);
    kest_osal_timer_attrib_t attrib = {};
    attrib.name = name_.c_str();
    attrib.entry = &PeriodicTimer::entry;
    attrib.param = this;
    attrib.timeout_us = period_us;
    return kest_osal_timer_create(&attrib, &handle_);
}

void PeriodicTimer::stop()
{
    tarn_timer_close(std::exchange(handle_, nullptr));
}

void PeriodicTimer::entry(void* param)
{
    static_cast<PeriodicTimer*>(param)->tick_();
}

}  // namespace peers
