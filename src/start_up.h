// Brings the service up.
#pragma once

// Starts every module in its fixed order and returns: all work happens on the two clients' tasks and on the timers. A
// failing initialiser reports itself in the log and stops nothing. Once per process.
extern "C" void vela_flight_start_up();
