// Flight tests: an aircraft, a station that switches them, and what it hears of them.
#pragma once

#include <mutex>
#include <optional>

#include "factory/test_watch.h"
#include "support/motion_lists.h"
#include "world.h"

class FlightStand {
public:
    // The test is enabled, list 0 is a hover of a second, flight number 7 is the latest.
    explicit FlightStand(World& world, const aircraft_t& aircraft = {});
    ~FlightStand() { world_.leaves(STATION); }
    FlightStand(const FlightStand&) = delete;
    FlightStand& operator=(const FlightStand&) = delete;

    // The service; throws broken_t unless it subscribes to the aircraft's data.
    void launch();

    static void write_list(const std::string& text, uint8_t index = 0);
    void switches(uint8_t value, uint8_t index = 0);
    void sends(const bytes_t& payload);
    uint8_t state();                // of the last heartbeat
    std::vector<uint8_t> states();  // each other one since the last switch
    bool reaches(uint8_t state, uint64_t limit_us = FLIGHT_LIMIT_US);
    peers::test_outcome outcome();

    // What became of it when its time is up.
    peers::test_outcome flies(uint8_t index = 0);
    peers::test_outcome end_of_flight(uint64_t limit_us = FLIGHT_LIMIT_US);
    void is_switched_off();
    void is_landed_by_hand();  // by whoever stands by
    bool in_air() { return world_.controller().bags().state().fsm == 2; }

    // Messages of the service to the flight controller since World::forget().
    size_t count(uint8_t id) const { return world_.sent(HOST_FLIGHT_SERVICE, SET_FLIGHT_CONTROLLER, id).size(); }
    size_t mode_requests(uint8_t value) const;
    void expect_no_commands(uint64_t us, const std::string& when);

    static constexpr uint64_t FLIGHT_LIMIT_US = 300 * SECOND_US;

private:
    void hears(const kest_event_t& event);
    uint64_t pushed() { return world_.controller().bags().counts().pushed; }

    World& world_;
    std::mutex mutex_;  // guards the rest: on the real bus it is heard by another thread
    std::vector<uint8_t> states_ = {kStaMotionIdel};
    std::optional<peers::TestWatch> watch_;
};
