// The files that travel and lie about in a soak run.
#pragma once

#include <cstdint>
#include <vector>

namespace sim {

// What lies on the aircraft when the service starts: a short motion list, and the marker that enables its test.
void write_aircraft_files();

// A valid database, version 1.0.0.`version`, with up to 12 kB of content by `number`.
std::vector<uint8_t> database_of(uint32_t version, uint64_t number);

// So many circles on a line to the north.
std::vector<uint8_t> areas_of(uint64_t count);

// Of this process.
uint64_t open_descriptors();

}  // namespace sim
