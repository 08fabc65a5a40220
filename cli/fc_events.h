// What `vela fc` prints: what happens to the flight controller, and a summary at its end.
#pragma once

#include <cstdint>

#include "failure.h"
#include "flight_controller/flight_controller.h"

namespace cli {

// A line, or a line of JSON; its time counts from `start_us` of boot time.
void print_event(const context_t& context, uint64_t start_us, const peers::fc_event_t& event);

void print_summary(const context_t& context, peers::FlightController& controller, double seconds);

}  // namespace cli
