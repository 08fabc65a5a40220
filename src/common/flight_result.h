// Results of the service's own operations.
#pragma once

#include <cstdint>

using flight_result_t = int32_t;

inline constexpr flight_result_t FLIGHT_OK = 0;
inline constexpr flight_result_t FLIGHT_ERR_RESOURCE = -10001;  // the platform refused something
inline constexpr flight_result_t FLIGHT_ERR_TOO_BIG = -22;      // payload over one record
