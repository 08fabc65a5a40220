// The one log line behind the module wrappers (flight_log, nfz_upgrade_log, nfz_tfr_log).
#pragma once

#include <cstdarg>

// What tells one wrapper from another.
struct log_line_t {
    const char* prefix_format;  // takes seconds (double), tag, text
    const char* source;
    const char* function;
    int line;
};

// Writes one line: prefix with the seconds since process start, tag, and at most 126 characters of text. Lines that the
// platform filters out are dropped. Any thread; no heap, nothing shared.
void log_line_print(const log_line_t& wrapper, const char* tag, const char* format, va_list args)
    __attribute__((format(printf, 3, 0)));
