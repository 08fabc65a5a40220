// The database on the device: its head, and whether it is whole.
#pragma once

#include "nfz_data_upgrade/upgrade_module/src/upgrade_wire.h"

// Reads the head of the database file at `path`. 0, or -1 (logged; `head` untouched). Any thread; no heap.
int upgrade_query_head(const char* path, nfz_bin_header_t* head);

// The head's version, last number first and each narrowed to a byte, as the replies carry it.
void upgrade_version_bytes(const nfz_bin_header_t& head, uint8_t bytes[4]);

// Start-up: empties a database that is damaged or empty. Main thread, before the upgrade timer runs; reads the whole
// file.
void upgrade_check_databse();
