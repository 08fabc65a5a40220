// Aircraft that push data to the ground fifty times a second, as a flight controller does.
#pragma once

#include "rig.h"

struct fleet_load {
    double ground_percent;    // of one core, by the ground's router
    double aircraft_percent;  // by the router of one aircraft
    double arrived_percent;   // of the records sent
};

// Every aircraft of the rig sends for that long; the routers must be up.
fleet_load measure_fleet(const rig& routers, size_t aircraft, double seconds);
