// The database file of the device. Upgrade client task and, when a session is given up, the upgrade timer. All may
// block on the disk.
#pragma once

#include <cstdint>

inline constexpr const char* NFZ_DATA_DIRECTORY = "/tmp/NFZ";
inline constexpr const char* NFZ_DATA_FILE = "/tmp/NFZ/nfz.bin";

// Makes the data directory if it is missing: 1 if it exists afterwards, else 0 (logged).
int upgrade_create_data_file();

// Appends the low 16 bits of `len` bytes: 1, or 0 when not all of them could be written (logged; what was written
// stays in the file). No heap.
int upgrade_save_data(const uint8_t* buf, uint32_t len);

// Makes the file system writable and the file empty, creating it if it is missing: 1, or 0 when either failed (logged;
// the file stays as it was). Leaves the file system writable.
int upgrade_delete_data();
