#include "platform/platform.h"

#include <cstdlib>
#include <utility>

namespace sim {

static Platform* s_platform;

Platform::Platform(const rules_t& rules) : schedule_(rules), timers_(schedule_, parties_), bus_(schedule_, parties_)
{
    if (s_platform != nullptr) std::abort();
    s_platform = this;
}

Platform::~Platform()
{
    s_platform = nullptr;
}

Platform& Platform::now()
{
    if (s_platform == nullptr) std::abort();
    return *s_platform;
}

bool Platform::step(uint64_t until_us)
{
    event_t event;
    if (!schedule_.take(until_us, event)) return false;
    switch (event.kind) {
        case event_kind::tick:
            timers_.tick(event.subject);
            break;
        case event_kind::arrival:
            bus_.arrive(event.subject);
            break;
        case event_kind::call:
            call(event.subject);
            break;
    }
    return true;
}

// Whoever may be waiting just now.
void Platform::call(uint32_t slot)
{
    const Parties::Turn turn(parties_, OUTSIDE);
    free_calls_.push_back(slot);
    std::exchange(calls_[slot], nullptr)();
}

void Platform::run_until(uint64_t until_us)
{
    while (step(until_us)) {
    }
}

void Platform::skip(uint64_t time_us)
{
    schedule_.skip(time_us);
    timers_.skip(time_us);
}

void Platform::call_at(uint64_t time_us, std::function<void()> call)
{
    if (free_calls_.empty()) {
        calls_.emplace_back();
        free_calls_.push_back(static_cast<uint32_t>(calls_.size() - 1));
    }
    const uint32_t slot = free_calls_.back();
    free_calls_.pop_back();
    calls_[slot] = std::move(call);
    schedule_.add(time_us, event_kind::call, slot);
}

void Platform::as(party_t party, const std::function<void()>& run)
{
    const Parties::Turn turn(parties_, party);
    run();
}

void Platform::end(party_t party)
{
    timers_.end_all_of(party);
    bus_.close_all_of(party);
}

}  // namespace sim
