// The same story told on two platforms: peers that work an upgrade and a flight with the service, and what they say to
// each other. Compiled once with the bus and once with the virtual clock.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "app/app_peer.h"
#include "factory/test_station.h"
#include "flight_controller/flight_controller.h"
#include "tarn_host.h"

// Lets time pass until it holds; false when it takes too long.
using until_fn = std::function<bool(const std::function<bool()>& condition)>;

// What the service and its peers are to do. `launch` starts the service.
struct stage_t {
    std::string routes;
    std::function<void()> launch;
    until_fn until;
};

// Both return what went wrong; empty: nothing.
std::string tell_upgrade(const stage_t& stage);
std::string tell_flight(const stage_t& stage);

// The motion list of the flight; its frames do not depend on where the aircraft is.
extern const char* const STORY_LIST;

// What passed on the bus, ready to be compared: by stream (who to whom, set, id, request or reply, sent or received)
// the payloads in their order. A payload that is repeated, as periodic messages are, stands once: how often depends on
// when the others came.
class Streams {
public:
    void add(const tarn_tap_head_t& head, uint32_t msg_id, uint16_t attrib, const std::vector<uint8_t>& payload);
    std::string text() const;

private:
    std::map<std::string, std::vector<std::string>> streams_;
};
