#include "waiting_sends.h"

#include <cerrno>
#include <chrono>
#include <cstring>

namespace tarn {
namespace {

bool is_answer_to(const kest_event_t& reply, const waiting_send& caller)
{
    return caller.peer == reply.peer_host && caller.msg_id == reply.msg_id && caller.seq_id == reply.seq_id;
}

}  // namespace

void waiting_sends::add(waiting_send& caller)
{
    const std::lock_guard lock(mutex_);
    waiting_send** end = &first_;
    while (*end != nullptr)
        end = &(*end)->next;
    caller.next = nullptr;
    *end = &caller;
}

void waiting_sends::remove(waiting_send& caller)
{
    const std::lock_guard lock(mutex_);
    take_out(caller);
}

void waiting_sends::take_out(const waiting_send& caller)
{
    for (waiting_send** at = &first_; *at != nullptr; at = &(*at)->next) {
        if (*at != &caller) continue;
        *at = caller.next;
        return;
    }
}

kest_result_t waiting_sends::wait(waiting_send& caller, uint32_t timeout_us)
{
    const auto until = std::chrono::steady_clock::now() + std::chrono::microseconds(timeout_us);
    std::unique_lock lock(mutex_);
    caller.answered.wait_until(lock, until, [&caller] { return caller.is_done; });
    take_out(caller);
    return caller.result;
}

bool waiting_sends::answer(const kest_event_t& reply, counters& counts)
{
    const std::lock_guard lock(mutex_);
    for (waiting_send* caller = first_; caller != nullptr; caller = caller->next) {
        if (caller->is_done || !is_answer_to(reply, *caller)) continue;
        const uint32_t size = KEST_EVENT_HEAD_SIZE + reply.msg_len;
        caller->result = size <= caller->reply_size ? 0 : -EMSGSIZE;
        if (caller->result == 0) {
            std::memcpy(caller->reply, &reply, size);
            caller->reply_size = size;
        }
        caller->is_done = true;
        counts.add(TARN_RECEIVED);
        caller->answered.notify_one();  // under the lock: afterwards the caller's stack may be gone
        return true;
    }
    return false;
}

}  // namespace tarn
