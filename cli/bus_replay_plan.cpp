#include "bus_replay_plan.h"

#include <algorithm>

#include "flight_v1_wire.h"
#include "watch_filter.h"

namespace cli {
namespace {

bool is_reply(const kest_event_t& event)
{
    return (event.attrib & ATTRIB_REPLY) != 0;
}

bool wants_answer(const kest_event_t& event)
{
    return ((event.attrib >> ATTRIB_NEED_ACK_SHIFT) & ATTRIB_NEED_ACK_MASK) != 0;
}

// Copies of different ends may come in another order than their times say.
std::vector<captured_t> each_message_once(const loaded_capture_t& capture)
{
    failure_t none;
    std::optional<WatchFilter> filter = WatchFilter::make({}, {}, none);
    std::vector<captured_t> messages;
    std::copy_if(capture.records.begin(), capture.records.end(), std::back_inserter(messages),
                 [&filter](const captured_t& one) { return filter->shows(one.record); });
    std::stable_sort(messages.begin(), messages.end(), [](const captured_t& one, const captured_t& other) {
        return one.record.head.boot_time_us < other.record.head.boot_time_us;
    });
    return messages;
}

replay_step_t step_of(const captured_t& message, uint64_t first_us)
{
    replay_step_t step = {message.record.event, message.record.head.boot_time_us - first_us,
                          wants_answer(message.record.event), message.offset, std::nullopt};
    step.request.peer_host = message.record.head.to;
    return step;
}

}  // namespace

void OpenRequests::add(const kest_event_t& request, size_t step)
{
    open_.emplace(key_of(request), step);
}

std::optional<size_t> OpenRequests::take(const kest_event_t& reply)
{
    const auto oldest = open_.lower_bound(key_of(reply));
    if (oldest == open_.end() || oldest->first != key_of(reply)) return std::nullopt;
    const size_t step = oldest->second;
    open_.erase(oldest);
    return step;
}

std::vector<replay_step_t> plan_replay(const loaded_capture_t& capture, uint16_t from)
{
    std::vector<replay_step_t> steps;
    OpenRequests open;
    uint64_t first_us = 0;
    for (const captured_t& message : each_message_once(capture)) {
        const tap_record_t& record = message.record;
        if (record.head.from == from && !is_reply(record.event)) {
            if (steps.empty()) first_us = record.head.boot_time_us;
            steps.push_back(step_of(message, first_us));
            if (steps.back().wants_answer) open.add(steps.back().request, steps.size() - 1);
        }
        if (record.head.to != from || !is_reply(record.event)) continue;
        kest_event_t reply = record.event;
        reply.peer_host = record.head.from;
        if (const std::optional<size_t> step = open.take(reply)) steps[*step].recorded = reply;
    }
    return steps;
}

std::map<uint16_t, size_t> senders_in(const loaded_capture_t& capture)
{
    std::map<uint16_t, size_t> senders;
    for (const captured_t& message : each_message_once(capture)) {
        if (!is_reply(message.record.event)) senders[message.record.head.from]++;
    }
    return senders;
}

bool same_answer(const kest_event_t& one, const kest_event_t& other)
{
    const peers::bytes_view a = peers::payload_of(one);
    const peers::bytes_view b = peers::payload_of(other);
    return one.attrib == other.attrib && std::equal(a.begin(), a.end(), b.begin(), b.end());
}

}  // namespace cli
