// The circle around an area: by it alone the service measures how far an area is.
#pragma once

#include <cstdint>
#include <span>

#include "tfr_wire.h"

namespace peers {

// Ends of the earth in the file's unit of 1e-6 degree.
inline constexpr int32_t TFR_MAX_LNG = 180'000'000;
inline constexpr int32_t TFR_MAX_LAT = 90'000'000;

using corners_t = std::span<const vela_tfr_gps>;

// Middle of the box around the corners, of which there is at least one. Not across the date line.
vela_tfr_gps middle_of(corners_t corners);

// Metres from `center` to the farthest corner, along the great circle on a sphere of 6378137 m.
double reach_of(const vela_tfr_gps& center, corners_t corners);

}  // namespace peers
