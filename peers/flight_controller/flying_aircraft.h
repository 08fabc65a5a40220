// The simulated aircraft on the bus: it obeys what comes there, flies in boot time, and its state goes into the data
// bag.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <vector>

#include "common/bus_endpoint.h"
#include "common/periodic_timer.h"
#include "flight_controller/aircraft_model.h"
#include "flight_controller/bag_publisher.h"
#include "flight_controller/fc_event.h"
#include "flight_controller/motor_interlock.h"

namespace peers {

struct flight_options_t {
    aircraft_config_t aircraft;
    double latitude = 0;   // radians, where it stands
    double longitude = 0;  // radians
    // Sees the flight record as it is made (may be empty), on the timer's thread; must not call the aircraft.
    std::function<void(const flight_row_t&)> observer;
};

// Messages for the aircraft: obeyed, or not now or not understood.
struct flight_counts_t {
    uint64_t sticks = 0;
    uint64_t sticks_ignored = 0;
    uint64_t commands = 0;
    uint64_t commands_ignored = 0;
    uint64_t heartbeats = 0;
    uint64_t skipped_ms = 0;  // model time lost because this machine did not keep up
};

class FlyingAircraft {
public:
    // Registers with `endpoint`, which must not be started yet. `happened` (may be empty) runs on the endpoint's task
    // or the timer's thread.
    FlyingAircraft(BusEndpoint& endpoint, BagPublisher& bags, const MotorInterlock& motors,
                   const flight_options_t& options, fc_event_fn happened);
    ~FlyingAircraft() { stop(); }
    FlyingAircraft(const FlyingAircraft&) = delete;
    FlyingAircraft& operator=(const FlyingAircraft&) = delete;

    // Time runs from here on. 0 or the platform's negative errno.
    kest_result_t start();
    // No step is made after its return. Not from a callback.
    void stop();

    // Any thread.
    motion_t truth() const;
    uint8_t mode() const;
    flight_counts_t counts() const;
    std::optional<afqt_heart_beat_t> heartbeat() const;  // the last one

private:
    void handle_basic_command(const kest_event_t& event);
    void handle_external_control(const kest_event_t& event);
    void handle_sticks(const kest_event_t& event);
    void handle_test_message(const kest_event_t& event);
    bool obey_sweep(bytes_view payload);
    void answer(const kest_event_t& event, bool obeyed);
    void tick();
    uint64_t steps_due();
    void publish();
    void tell(const std::vector<aircraft_event_t>& events, uint16_t peer);

    BusEndpoint& endpoint_;
    BagPublisher& bags_;
    const MotorInterlock& motors_;
    const double latitude_;
    const double longitude_;
    const fc_event_fn happened_;
    PeriodicTimer timer_;
    mutable std::mutex mutex_;  // guards everything below
    AircraftModel model_;
    uint64_t flown_until_us_ = 0;
    uint16_t commander_ = 0;  // who sent the last command
    flight_counts_t counts_;
    std::optional<afqt_heart_beat_t> heartbeat_;
};

}  // namespace peers
