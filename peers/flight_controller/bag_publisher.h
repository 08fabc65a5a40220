// The flight controller's data subscription: others add bags of data items, and each bag is pushed at its rate.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#include "common/bus_endpoint.h"
#include "common/periodic_timer.h"
#include "flight_controller/aircraft_state.h"
#include "flight_controller/fc_event.h"

namespace peers {

struct bag_counts_t {
    uint64_t pushed = 0;   // taken by the bus
    uint64_t refused = 0;  // not taken: nobody there, or its queue full
};

class BagPublisher {
public:
    static constexpr size_t MAX_BAGS = 2;
    static constexpr uint16_t MAX_RATE_HZ = 1000;

    // Registers with `endpoint`, which must not be started yet. `happened` runs on the endpoint's task.
    BagPublisher(BusEndpoint& endpoint, fc_event_fn happened);
    BagPublisher(const BagPublisher&) = delete;
    BagPublisher& operator=(const BagPublisher&) = delete;

    // The next pushes carry `state`. Any thread.
    void set_state(const aircraft_state_t& state);
    // Changes some of it: `change` runs before the return.
    void update(const std::function<void(aircraft_state_t&)>& change);
    aircraft_state_t state() const;
    bag_counts_t counts() const;
    bool subscribed(size_t bag) const;

    // No push goes out after its return, and no bag can be added any more.
    void stop();

private:
    struct bag_t {
        uint16_t subscriber = 0;
        uint16_t rate_hz = 0;  // 0: not in use
        uint16_t pushes = 0;
        std::vector<uint32_t> items;
    };

    void handle_reset(const kest_event_t& event);
    void handle_add(const kest_event_t& event);
    void handle_delete(const kest_event_t& event);
    void handle_rate(const kest_event_t& event);
    bool restart(size_t index, const bag_t& bag);
    void answer(const kest_event_t& event, const fc_event_t& what);
    void push(size_t index);

    BusEndpoint& endpoint_;
    const fc_event_fn happened_;
    std::mutex timer_mutex_;  // guards timers_ and closed_; pushes never take it, so ending one under it is safe
    std::array<PeriodicTimer, MAX_BAGS> timers_;
    bool closed_ = false;
    mutable std::mutex mutex_;  // guards everything below
    std::array<bag_t, MAX_BAGS> bags_;
    aircraft_state_t state_;
    bag_counts_t counts_;
};

}  // namespace peers
