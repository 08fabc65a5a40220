#include "platform/schedule.h"

#include <algorithm>
#include <tuple>

namespace sim {
namespace {

constexpr size_t ROOM = 1024;  // events; more cost an allocation

bool later(const event_t& one, const event_t& other)
{
    return std::tie(one.time_us, one.order, one.sequence) > std::tie(other.time_us, other.order, other.sequence);
}

}  // namespace

Schedule::Schedule(const rules_t& rules) : rules_(rules), random_(rules.seed)
{
    heap_.reserve(ROOM);
}

void Schedule::add(uint64_t time_us, event_kind kind, uint32_t subject)
{
    const uint64_t order = rules_.shuffled ? random_.next() : subject;
    heap_.push_back({std::max(time_us, now_us()), order, sequence_++, kind, subject});
    std::push_heap(heap_.begin(), heap_.end(), later);
}

bool Schedule::take(uint64_t until_us, event_t& event)
{
    if (heap_.empty() || heap_.front().time_us > until_us) {
        now_us_ = std::max(now_us(), until_us);
        return false;
    }
    std::pop_heap(heap_.begin(), heap_.end(), later);
    event = heap_.back();
    heap_.pop_back();
    now_us_ = std::max(now_us(), event.time_us);
    taken_++;
    return true;
}

void Schedule::skip(uint64_t time_us)
{
    now_us_ += time_us;
    for (event_t& event : heap_)
        event.time_us += time_us;
}

}  // namespace sim
