// Numbers from files and sticks, brought into the widths of fields and messages.
#pragma once

#include <cstdint>
#include <limits>

// Cut at the decimal point. Negative and NaN give 0, too big the largest number: C++ leaves these open.
constexpr uint32_t afqt_float_to_uint(float value)
{
    constexpr float too_big = 4294967296.0f;
    if (!(value > 0.0f)) return 0;
    if (value >= too_big) return std::numeric_limits<uint32_t>::max();
    return static_cast<uint32_t>(value);
}
