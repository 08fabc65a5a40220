// The temporary-restriction module's log.
#pragma once

// One line "[nfz_tfr][ seconds][tag]text" and a line feed. Any thread.
void nfz_tfr_log(const char* tag, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Trace points: the same arguments, switched off.
void nfz_tfr_printf(const char* tag, const char* format, ...) __attribute__((format(printf, 2, 3)));
