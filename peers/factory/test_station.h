// The factory's test station on the bus: switches the flight test on and off, and hears how it goes.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "afqt_wire.h"
#include "common/bus_endpoint.h"
#include "flight_v1_wire.h"

namespace peers {

// With the address of the service that says it.
struct station_events_t {
    std::function<void(uint16_t from, const afqt_heart_beat_t&)> heartbeat;  // once a second while the test is enabled
    // Fifty times a second for ten, when a list was flown.
    std::function<void(uint16_t from, const afqt_on_off_cmd_t&)> notice;
};

class TestStation {
public:
    // Opens and starts the endpoint; null with `error` filled. The events run on the endpoint's task.
    static std::unique_ptr<TestStation> open(const bus_name_t& name, station_events_t events, bus_open_error_t& error);
    ~TestStation() { endpoint_->stop(); }

    // The service does not answer a switch: the heartbeats show what came of it. The platform's result.
    kest_result_t switch_on(uint8_t file_index) { return switch_test(kAfqtOn, file_index, HOST_FLIGHT_SERVICE); }
    // Names a list as well, for a notice that may still come.
    kest_result_t switch_off(uint8_t file_index, uint16_t service = HOST_FLIGHT_SERVICE)
    {
        return switch_test(kAfqtOff, file_index, service);
    }

    BusEndpoint& endpoint() { return *endpoint_; }

private:
    TestStation(std::unique_ptr<BusEndpoint> endpoint, station_events_t events);
    kest_result_t switch_test(AfqtCmdEnum state, uint8_t file_index, uint16_t service);
    void on_message(const kest_event_t& event);
    void on_notice(const kest_event_t& event);

    const std::unique_ptr<BusEndpoint> endpoint_;
    const station_events_t events_;
};

}  // namespace peers
