#include "common/bus_endpoint.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "common/clock.h"
#include "flight_v1_wire.h"
#include "kest_mb.h"
#include "tarn_host.h"

namespace peers {
namespace {

constexpr uint32_t TICK_US = 50'000;
constexpr size_t NO_SLOT = BusEndpoint::MAX_PENDING;

bool wants_reply(const kest_event_t& event)
{
    return ((event.attrib >> ATTRIB_NEED_ACK_SHIFT) & ATTRIB_NEED_ACK_MASK) != 0;
}

bool answers(const kest_event_t& request, const kest_event_t& reply)
{
    return request.peer_host == reply.peer_host && request.msg_id == reply.msg_id && request.seq_id == reply.seq_id;
}

}  // namespace

std::unique_ptr<BusEndpoint> BusEndpoint::open(const bus_name_t& name, bus_open_error_t& error)
{
    kest_mb_route_table_t routes = {};
    uint16_t host = 0;
    error = {bus_step::route, 0, 0};
    error.result =
        kest_mb_create_route_table(name.config.c_str(), name.service.c_str(), name.endpoint.c_str(), &host, &routes);
    if (error.result != 0) return nullptr;
    std::unique_ptr<BusEndpoint> endpoint(new BusEndpoint(host));
    error = {bus_step::address, endpoint->create(routes), host};
    kest_mb_destroy_route_table(&routes);
    if (error.result != 0) return nullptr;
    error.step = bus_step::none;
    return endpoint;
}

// One descriptor per id serves all sets: what is handled is decided by the handler table here.
kest_result_t BusEndpoint::create(const kest_mb_route_table_t& routes)
{
    static const auto descriptors = [] {
        std::array<kest_event_cmd_desc_t, 256> all = {};
        all.fill({&BusEndpoint::request_cb, &BusEndpoint::reply_cb, 0});
        return all;
    }();
    std::array<const kest_event_cmd_desc_t*, KEST_EVENT_SETS> tables;
    std::array<uint32_t, KEST_EVENT_SETS> counts;
    tables.fill(descriptors.data());
    counts.fill(static_cast<uint32_t>(descriptors.size()));
    return kest_event_create_client(&routes, host_, tables.data(), counts.data(), this, &client_);
}

void BusEndpoint::on_request(uint8_t set, uint8_t id, handler_fn handler)
{
    handlers_.push_back({static_cast<uint32_t>(set) << 16 | id, std::move(handler)});
}

kest_result_t BusEndpoint::start()
{
    const kest_result_t result = timer_.start("peer_timeouts", TICK_US, [this] { tick(); });
    if (result != 0) return result;
    return kest_event_start_client(client_);
}

void BusEndpoint::stop()
{
    timer_.stop();
    tarn_client_close(client_);  // callbacks still read client_ until its return
    client_ = nullptr;
}

void BusEndpoint::fill_head(kest_event_t& event, uint16_t peer, uint8_t set, uint8_t id, uint16_t attrib,
                            bytes_view payload)
{
    event.msg_id = static_cast<uint32_t>(set) << 16 | id;
    event.peer_host = peer;
    event.attrib = attrib;
    event.seq_id = seq_id_++;
    event.reserved = 0;
    event.msg_len = static_cast<uint32_t>(payload.size());
    std::copy(payload.begin(), payload.end(), event.msg_buf);
}

kest_result_t BusEndpoint::send(uint16_t peer, uint8_t set, uint8_t id, bytes_view payload)
{
    if (payload.size() > KEST_EVENT_MAX_PAYLOAD) return -EMSGSIZE;
    kest_event_t event;
    fill_head(event, peer, set, id, ATTRIB_SEND, payload);
    return kest_event_send(client_, &event);
}

kest_result_t BusEndpoint::reply(const kest_event_t& request, bytes_view payload)
{
    if (!wants_reply(request)) return 0;
    return kest_event_resp_data_without_retcode(client_, &request, payload.data(),
                                                static_cast<uint32_t>(payload.size()));
}

kest_result_t BusEndpoint::request(const request_t& request, reply_fn done)
{
    if (request.payload.size() > KEST_EVENT_MAX_PAYLOAD) return -EMSGSIZE;
    const std::unique_lock lock(mutex_);
    const size_t slot = take_slot(request, std::move(done));
    if (slot == NO_SLOT) return -EBUSY;
    // Sent under the lock, so that the slot is still ours when the bus refuses. The reply's callback waits for it.
    const kest_result_t result = kest_event_send(client_, &pending_[slot].event);
    if (result == 0 || result == -EAGAIN) return 0;
    pending_[slot].done = nullptr;
    return result;
}

size_t BusEndpoint::take_slot(const request_t& request, reply_fn&& done)
{
    const auto free = std::find_if(pending_.begin(), pending_.end(), [](const pending_t& slot) { return !slot.done; });
    if (free == pending_.end()) return NO_SLOT;
    free->deadline_us = now_us() + request.timeout_us;
    free->timeout_us = request.timeout_us;
    free->tries_left = std::max(request.tries, 1u) - 1;
    free->sends = 1;
    free->owner = request.owner;
    fill_head(free->event, request.peer, request.set, request.id, ATTRIB_SEND_SYNC, request.payload);
    free->done = std::move(done);
    return static_cast<size_t>(free - pending_.begin());
}

void BusEndpoint::drop(const void* owner)
{
    const std::lock_guard lock(mutex_);
    for (pending_t& slot : pending_) {
        if (slot.owner == owner) slot.done = nullptr;
    }
}

kest_result_t BusEndpoint::call_later(uint64_t delay_us, std::function<void()> call)
{
    const std::lock_guard lock(mutex_);
    const auto free = std::find_if(later_.begin(), later_.end(), [](const later_t& slot) { return !slot.call; });
    if (free == later_.end()) return -EBUSY;
    free->due_us = now_us() + delay_us;
    free->call = std::move(call);
    return 0;
}

void BusEndpoint::handle_request(const kest_event_t& event)
{
    for (const handler_t& handler : handlers_) {
        if (handler.msg_id == event.msg_id) return handler.run(event);
    }
    reply(event, bytes_of(REPLY_UNKNOWN_COMMAND));
}

// A reply that no request waits for (any longer) is dropped: the answer to a request that was sent twice comes twice.
void BusEndpoint::handle_reply(const kest_event_t& event)
{
    std::unique_lock lock(mutex_);
    const auto slot = std::find_if(pending_.begin(), pending_.end(),
                                   [&](const pending_t& one) { return one.done && answers(one.event, event); });
    if (slot == pending_.end()) return;
    const reply_fn done = std::exchange(slot->done, nullptr);
    const reply_t reply = {0, &event, slot->sends};
    lock.unlock();
    done(reply);
}

void BusEndpoint::tick()
{
    const uint64_t now = now_us();
    for (pending_t& slot : pending_)
        expire(slot, now);
    for (later_t& slot : later_)
        run_if_due(slot, now);
}

void BusEndpoint::expire(pending_t& slot, uint64_t now)
{
    std::unique_lock lock(mutex_);
    if (!slot.done || slot.deadline_us > now) return;
    kest_result_t result = -ETIMEDOUT;
    if (slot.tries_left > 0) {
        slot.tries_left--;
        slot.sends++;
        slot.deadline_us = now + slot.timeout_us;
        result = kest_event_send(client_, &slot.event);
        if (result == 0 || result == -EAGAIN) return;
    }
    const reply_fn done = std::exchange(slot.done, nullptr);
    const reply_t reply = {result, nullptr, slot.sends};
    lock.unlock();
    done(reply);
}

void BusEndpoint::run_if_due(later_t& slot, uint64_t now)
{
    std::unique_lock lock(mutex_);
    if (!slot.call || slot.due_us > now) return;
    const std::function<void()> call = std::exchange(slot.call, nullptr);
    lock.unlock();
    call();
}

kest_result_t BusEndpoint::request_cb(kest_event_client_t, const kest_event_t* event, void* userdata)
{
    static_cast<BusEndpoint*>(userdata)->handle_request(*event);
    return 0;
}

kest_result_t BusEndpoint::reply_cb(kest_event_client_t, const kest_event_t* event, void* userdata)
{
    static_cast<BusEndpoint*>(userdata)->handle_reply(*event);
    return 0;
}

}  // namespace peers
