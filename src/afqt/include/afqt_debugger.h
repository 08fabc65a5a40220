// The test's own log: one file per start under /tmp/blackbox/log/afqt, written behind the standard I/O buffer and
// flushed every 2 s. Without the file (see the lines on standard output) everything logged is dropped.
#pragma once

// Opens the log of this start. Says on standard output how it went. Main thread, once.
void afqt_debug_init();

// "[ seconds since start][function]text", cut to 2047 characters of text; no line end is added. Any thread.
void _afqt_log(const char* function, const char* fmt, ...) __attribute__((format(printf, 2, 3)));

// The text alone. Any thread.
void afqt_printf(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

// Flushes at every 100th call. AFQT timer, once per tick.
void afqt_debug_tick_handle();
