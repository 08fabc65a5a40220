// What flights on the virtual clock need: the service, a simulated aircraft and a station, in private files. One
// process per test.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "afqt_wire.h"
#include "factory/test_station.h"
#include "factory/test_watch.h"
#include "flight_controller/flight_controller.h"
#include "flight_v1_wire.h"
#include "platform/platform.h"
#include "support/scratch.h"
#include "world/service_module.h"

std::string motion(const std::string& id, const std::string& keys);
std::string list_of(const std::vector<std::string>& motions, const std::string& attributes = "");
std::string hover(int seconds);
std::string step(int loop, double amplitude);

void write_text(const std::string& path, const std::string& text);

class Sky : public testing::Test {
protected:
    Sky();

    // With the GPS at this level; `mass` times as heavy as it should be; says it is of this type (craft_type_t).
    void aircraft_stands_ready(uint8_t gps_level = 5, double mass = 1, int8_t drone_type = PRODUCT_QX520);
    void service_starts();

    void list(uint8_t index, const std::string& content);
    void switches_on(uint8_t index);
    void passes(double seconds);
    bool until(const std::function<bool()>& condition, double seconds);
    bool reaches(uint8_t state, double seconds = 60);
    // The flight's end; `running` when it has none.
    peers::test_report_t end_of_flight(double seconds = 600);
    peers::test_report_t flies(uint8_t index);
    void is_landed_by_hand();

    // From here on messages of the service with this set and id do not arrive; or again.
    void loses(uint8_t set, uint8_t id) { lost_.insert({set, id}); }
    void loses_nothing() { lost_.clear(); }

    // What the service has sent so far.
    size_t count_sent(uint8_t set, uint8_t id) const;
    size_t mode_requests(uint8_t value) const;
    bool in_air() { return controller->bags().state().fsm == 2; }
    double now() { return static_cast<double>(platform.schedule().now_us()) / 1e6; }

    struct sent_t {
        uint64_t time_us;
        uint8_t set;
        uint8_t id;
        std::vector<uint8_t> payload;
    };
    std::vector<sent_t> sent;     // by the service, lost ones included
    std::vector<uint8_t> states;  // of the heartbeats since the switch, each change
    sim::Platform platform;
    sim::ServiceModule service;
    std::unique_ptr<peers::FlightController> controller;
    std::unique_ptr<peers::TestStation> station;

private:
    void hears(const afqt_heart_beat_t& beat);
    void hears(const afqt_on_off_cmd_t& notice);

    std::set<std::pair<uint8_t, uint8_t>> lost_;
    std::optional<peers::TestWatch> watch_;
};
