// Text on standard error: never more than one write, never SIGPIPE, lost silently when nobody can take it.
#pragma once

#include <cstddef>

namespace tarn {

// Writes `size` bytes as they are. Any thread; no heap.
void write_stderr(const char* text, size_t size);

// Writes "tarn: ", the formatted text (cut at 1000 characters) and a line feed. Any thread; no heap.
void print_line(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace tarn
