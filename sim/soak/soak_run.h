// One soak run: the whole system on the virtual clock, a seed's work and faults, and what must hold.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "soak/action.h"
#include "world/service_module.h"

namespace sim {

struct soak_counts_t {
    uint64_t events = 0;
    uint64_t launches = 0;  // of the service
    uint64_t refused = 0;   // sends
    uint64_t lost = 0;      // records
    uint64_t absent = 0;    // sends to nobody
    uint64_t upgrades_done = 0;
    uint64_t upgrades_failed = 0;
    uint64_t deliveries_done = 0;
    uint64_t deliveries_failed = 0;
    uint64_t bytes_read = 0;  // of the database, by the flight controller
    uint64_t tests_on = 0;
    uint64_t take_offs = 0;
    double seconds = 0;  // simulated
};

struct soak_end_t {
    std::string broken;  // what did not hold; empty: everything did
    double broken_at = 0;
    uint64_t trace = 0;  // of every record that passed, in order
    soak_counts_t counts;
};

// In a process with private files.
soak_end_t soak(uint64_t seed, const std::vector<action_t>& actions, ServiceModule& service);

}  // namespace sim
