// Keeps the subscription to the flight controller's data alive.
#pragma once

#include "common/flight_result.h"

// Starts the 5 s watch and subscribes. Returns what the subscription returned, also when there is no timer. Main
// thread, after the flight client.
flight_result_t dbi_init();

// The timer's entry: subscribes anew when no push came for more than 10000 ms.
void dbi_monitor(void* param);
