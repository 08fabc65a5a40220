// The fault catalogue: one row for each kind of fault.
#pragma once

#include <cstdint>
#include <span>

#include "run.h"

enum class place_t : uint8_t {
    clock,  // the virtual clock
    bus,    // real processes, bus and kernel
    both,   // many seeds on the virtual clock, the first once more on the real bus
};

// In the order in which a table of rows reads.
struct row_t {
    const char* id;
    const char* fault;
    place_t place;
    uint64_t quick_seeds;  // runs of ./dev faults; 0: only in the full catalogue
    uint64_t full_seeds;
    void (*run)(Run& run);
    bool works_after = true;  // ends with expect_all_works()
};

std::span<const row_t> transfer_rows();
std::span<const row_t> read_rows();
std::span<const row_t> area_rows();
std::span<const row_t> flight_rows();
std::span<const row_t> bus_rows();
// Of the real place only.
std::span<const row_t> disk_rows();
std::span<const row_t> machine_rows();
std::span<const row_t> soak_rows();
