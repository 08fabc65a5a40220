// One factory flight: the service in a process of its own, watched by a probe, and the peers in another.
#pragma once

#include <string>

#include "tick_probe.h"

struct flight_figures_t {
    std::string outcome;  // "finished" is the good one
    double seconds;       // from the switch to the end, of boot time
    double wall_seconds;  // the same by the wall clock
};

// Flies the list with boot time running `scale` times as fast. Leaves the program when a process cannot be started.
flight_figures_t fly(const std::string& list, double scale, tick_probe_t* probe);
