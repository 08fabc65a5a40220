#include "flight_controller/bag_publisher.h"

#include <utility>

#include "common/clock.h"
#include "flight_v1_wire.h"

namespace peers {

BagPublisher::BagPublisher(BusEndpoint& endpoint, fc_event_fn happened)
    : endpoint_(endpoint), happened_(std::move(happened))
{
    endpoint.on_request(SET_FLIGHT_CONTROLLER, ID_DB_BAG_RESET,
                        [this](const kest_event_t& event) { handle_reset(event); });
    endpoint.on_request(SET_FLIGHT_CONTROLLER, ID_DB_BAG_ADD, [this](const kest_event_t& event) { handle_add(event); });
    endpoint.on_request(SET_FLIGHT_CONTROLLER, ID_DB_BAG_DELETE,
                        [this](const kest_event_t& event) { handle_delete(event); });
    endpoint.on_request(SET_FLIGHT_CONTROLLER, ID_DB_BAG_UPDATE_FREQ,
                        [this](const kest_event_t& event) { handle_rate(event); });
}

void BagPublisher::set_state(const aircraft_state_t& state)
{
    const std::lock_guard lock(mutex_);
    state_ = state;
}

void BagPublisher::update(const std::function<void(aircraft_state_t&)>& change)
{
    const std::lock_guard lock(mutex_);
    change(state_);
}

aircraft_state_t BagPublisher::state() const
{
    const std::lock_guard lock(mutex_);
    return state_;
}

bag_counts_t BagPublisher::counts() const
{
    const std::lock_guard lock(mutex_);
    return counts_;
}

bool BagPublisher::subscribed(size_t bag) const
{
    const std::lock_guard lock(mutex_);
    return bag < MAX_BAGS && bags_[bag].rate_hz != 0;
}

void BagPublisher::stop()
{
    const std::lock_guard lock(timer_mutex_);
    closed_ = true;
    for (PeriodicTimer& timer : timers_)
        timer.stop();
}

void BagPublisher::handle_reset(const kest_event_t& event)
{
    for (size_t i = 0; i < MAX_BAGS; i++)
        restart(i, {});
    answer(event, {fc_event_kind::bags_reset, now_us(), event.peer_host});
}

void BagPublisher::handle_add(const kest_event_t& event)
{
    const bytes_view payload = payload_of(event);
    db_bag_add_req_t request = {};
    fc_event_t what = {fc_event_kind::bag_refused, now_us(), event.peer_host};
    if (!read_record(payload, request)) return answer(event, what);
    what.bag = request.index;
    what.rate_hz = request.frequence;
    bag_t bag = {event.peer_host, request.frequence, 0, {}};
    for (size_t i = 0; i < request.data_num; i++) {
        uint32_t uid = 0;
        if (!read_record(payload, uid, sizeof request + i * sizeof uid)) return answer(event, what);
        bag.items.push_back(uid);
    }
    what.items = bag.items;
    if (bag.rate_hz != 0 && restart(request.index, bag)) what.kind = fc_event_kind::bag_added;
    answer(event, what);
}

void BagPublisher::handle_delete(const kest_event_t& event)
{
    uint8_t index = 0;
    fc_event_t what = {fc_event_kind::bag_refused, now_us(), event.peer_host};
    if (read_record(payload_of(event), index) && restart(index, {})) what.kind = fc_event_kind::bag_deleted;
    what.bag = index;
    answer(event, what);
}

void BagPublisher::handle_rate(const kest_event_t& event)
{
    db_bag_update_freq_req_t request = {};
    fc_event_t what = {fc_event_kind::bag_refused, now_us(), event.peer_host};
    if (!read_record(payload_of(event), request) || !subscribed(request.index)) return answer(event, what);
    bag_t bag;
    {
        const std::lock_guard lock(mutex_);
        bag = bags_[request.index];
    }
    what.bag = request.index;
    what.rate_hz = bag.rate_hz = request.frequence;
    if (bag.rate_hz != 0 && restart(request.index, bag)) what.kind = fc_event_kind::bag_rate_changed;
    answer(event, what);
}

// Puts `bag` into place `index` and starts or ends its pushes. False, with the old bag left alone, when it cannot be.
bool BagPublisher::restart(size_t index, const bag_t& bag)
{
    if (index >= MAX_BAGS || bag.rate_hz > MAX_RATE_HZ || !bag_size(bag.items)) return false;
    const std::lock_guard timer_lock(timer_mutex_);
    if (closed_) return false;
    timers_[index].stop();
    {
        const std::lock_guard lock(mutex_);
        bags_[index] = bag;
    }
    if (bag.rate_hz == 0) return true;
    return timers_[index].start("fc_bag_push", 1'000'000u / bag.rate_hz, [this, index] { push(index); }) == 0;
}

void BagPublisher::answer(const kest_event_t& event, const fc_event_t& what)
{
    const uint8_t code = what.kind == fc_event_kind::bag_refused ? 1 : 0;
    endpoint_.reply(event, bytes_of(code));
    if (happened_) happened_(what);
}

void BagPublisher::push(size_t index)
{
    std::vector<uint8_t> payload = {static_cast<uint8_t>(index)};
    uint16_t subscriber = 0;
    {
        const std::lock_guard lock(mutex_);
        bag_t& bag = bags_[index];
        const std::vector<uint8_t> packed = pack_bag(bag_of(state_, bag.pushes++), bag.items);
        payload.insert(payload.end(), packed.begin(), packed.end());
        subscriber = bag.subscriber;
    }
    const bool taken = endpoint_.send(subscriber, SET_FLIGHT_CONTROLLER, ID_DB_BAG_PUSH, payload) == 0;
    const std::lock_guard lock(mutex_);
    (taken ? counts_.pushed : counts_.refused)++;
}

}  // namespace peers
