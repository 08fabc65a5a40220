// The log file and its older fellows.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarn {

// Opens the file (its directory is made if missing) and keeps it for log_file_write; an earlier file is let go. When it
// has grown to `max_bytes`, "x.log" becomes "x.1.log", "x.1.log" becomes "x.2.log" and so on up to `max_files`. 0 or
// the negative errno of opening. Null or empty `path`: no file.
int log_file_open(const char* path, uint32_t max_bytes, uint32_t max_files) noexcept;

// Appends one line with one write. What the disk refuses is lost; the file is tried again a second later. Any thread;
// no heap for lines of up to 250 bytes.
void log_file_write(const char* text, size_t size) noexcept;

}  // namespace tarn
