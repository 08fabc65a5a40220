#include "platform/timers.h"

namespace sim {

platform_timer_t& Timers::create(const kest_osal_timer_attrib_t& attrib)
{
    const uint64_t due_us = schedule_.now_us() + attrib.timeout_us;
    all_.push_back(
        std::make_unique<platform_timer_t>(platform_timer_t{attrib.name, attrib, due_us, parties_.current()}));
    plan(static_cast<uint32_t>(all_.size() - 1));
    return *all_.back();
}

void Timers::plan(uint32_t timer)
{
    const uint32_t late_us = schedule_.random().between(0, schedule_.rules().tick_late_most_us);
    schedule_.add(all_[timer]->due_us + late_us, event_kind::tick, timer);
}

void Timers::end(void* timer)
{
    for (const auto& one : all_)
        if (one.get() == timer) one->ended = true;
}

void Timers::end_all_of(party_t party)
{
    for (const auto& timer : all_)
        if (timer->party == party) timer->ended = true;
}

void Timers::fire(platform_timer_t& timer)
{
    const Parties::Turn turn(parties_, timer.party);
    timer.busy = true;
    timer.calls++;
    timer.attrib.entry(timer.attrib.param);
    timer.busy = false;
}

void Timers::tick(uint32_t index)
{
    platform_timer_t& timer = *all_[index];
    if (timer.ended) return;
    timer.due_us += timer.attrib.timeout_us;
    fire(timer);
    if (timer.ended || timer.calls == timer.attrib.repeat_times) return;
    const uint64_t now_us = schedule_.now_us();
    if (timer.due_us < now_us)
        timer.due_us += ((now_us - timer.due_us) / timer.attrib.timeout_us + 1) * timer.attrib.timeout_us;
    plan(index);
}

void Timers::skip(uint64_t time_us)
{
    for (const auto& timer : all_)
        timer->due_us += time_us;
}

}  // namespace sim
