// What the simulated aircraft reports about itself, and its packing into the data bag.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "db_bag_wire.h"

namespace peers {

struct aircraft_state_t {
    double latitude = 0;    // radians
    double longitude = 0;   // radians
    float altitude = 0;     // metres
    uint8_t gps_level = 5;  // 0 to 5; 3 and above is a usable fix
    uint32_t gps_date = 0;  // UTC as the decimal number YYYYMMDD, 0 without a fix
    uint32_t gps_time = 0;  // UTC as HHMMSS
    bool app_position_valid = false;
    double app_latitude = 0;   // radians
    double app_longitude = 0;  // radians
    uint32_t app_unix_time = 0;
    uint8_t fsm = 1;                                 // 1 on ground, 2 in air, else motors off
    uint8_t display_mode = 0;                        // passed on untouched
    std::array<float, 3> velocity = {};              // m/s north, east, down
    std::array<float, 4> quaternion = {1, 0, 0, 0};  // attitude w, x, y, z
};

// `count` numbers the pushes.
db_bag1_t bag_of(const aircraft_state_t& state, uint16_t count);

// Bytes of the items `uids`, back to back in that order: what one push carries behind its index. None when an item is
// not known here or the bag would not fit into a push.
std::optional<size_t> bag_size(const std::vector<uint32_t>& uids);

// Packs them; `uids` must have a size.
std::vector<uint8_t> pack_bag(const db_bag1_t& bag, const std::vector<uint32_t>& uids);

}  // namespace peers
