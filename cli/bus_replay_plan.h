// What a replay sends, and which answers it is held against.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <tuple>
#include <vector>

#include "bus_capture.h"

namespace cli {

// Requests under way that a reply can belong to: the same two ends, message and number. One that is sent again has the
// same ones, so replies go to the oldest that has none.
class OpenRequests {
public:
    void add(const kest_event_t& request, size_t step);
    // The step whose reply this is; it has one then. None when nobody asked.
    std::optional<size_t> take(const kest_event_t& reply);

private:
    using key_t = std::tuple<uint16_t, uint32_t, uint16_t>;
    static key_t key_of(const kest_event_t& event) { return {event.peer_host, event.msg_id, event.seq_id}; }
    std::multimap<key_t, size_t> open_;
};

// `peer_host` of an event is always the other end, the receiver of a request and the sender of a reply.
struct replay_step_t {
    kest_event_t request;
    uint64_t at_us;  // since the first request
    bool wants_answer;
    size_t offset;                         // of the request in the file
    std::optional<kest_event_t> recorded;  // the answer
};

// The requests that `from` sent, in order. Each message counts once, whether one or both of its copies are there.
std::vector<replay_step_t> plan_replay(const loaded_capture_t& capture, uint16_t from);

// How many requests each address sent.
std::map<uint16_t, size_t> senders_in(const loaded_capture_t& capture);

bool same_answer(const kest_event_t& one, const kest_event_t& other);

}  // namespace cli
