// The service's log.
#pragma once

#include "common/flight_result.h"

// Sets the platform's logger up: console and whatever "/system/etc/vela.json" adds. A failure is printed and otherwise
// ignored. Returns 0.
flight_result_t flight_log_init();

// One line "[vela_flight][ seconds][tag]text" and a line feed. `tag` is the caller's function name; 126 characters of
// text survive. Any thread.
void flight_log(const char* tag, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Console printing, switched off; call sites stay.
void flight_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
