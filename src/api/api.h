// The command tables of both clients.
#pragma once

#include "common/flight_result.h"

// Installs both tables. 0, or -10001 if either was refused. Main thread; the flight client may already run.
flight_result_t api_init();
