// The callers that wait inside kest_event_send_sync, and the replies that wake them.
#pragma once

#include <condition_variable>
#include <mutex>

#include "counters.h"
#include "kest_event.h"

namespace tarn {

// One caller, on its own stack. It must be in the list before its request goes out, or a quick reply would find nobody.
struct waiting_send {
    uint16_t peer;
    uint16_t seq_id;
    uint32_t msg_id;
    kest_event_t* reply;   // room of `reply_size` bytes
    uint32_t reply_size;   // in: room, out: bytes written
    kest_result_t result;  // -ETIMEDOUT until something else is known
    bool is_done;
    std::condition_variable answered;
    waiting_send* next;
};

class waiting_sends {
public:
    void add(waiting_send& caller);
    void remove(waiting_send& caller);
    // Waits in real time until the reply is there or the time is over, then takes the caller out of the list.
    kest_result_t wait(waiting_send& caller, uint32_t timeout_us);
    // Gives a received reply to the caller that waits longest for it, counted before it wakes. False when nobody does.
    bool answer(const kest_event_t& reply, counters& counts);

private:
    void take_out(const waiting_send& caller);

    std::mutex mutex_;
    waiting_send* first_ = nullptr;  // under mutex_, as are the callers while they are in the list
};

}  // namespace tarn
