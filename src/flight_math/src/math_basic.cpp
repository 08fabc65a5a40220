#include "math_basic.h"

#include <bit>
#include <cmath>

namespace {

constexpr double kNearZero = 1e-17;

}  // namespace

fp32 float_constrain(fp32 value, fp32 min, fp32 max)
{
    if (value > max) return max;
    if (value < min) return min;
    return value;
}

fp32 float_sign(fp32 input)
{
    if (input > kNearZero) return 1.0f;
    if (input < -kNearZero) return -1.0f;
    return 0.0f;
}

fp32 float_linear_interpolation(fp32 input, const fp32* x_ref, const fp32* y_ref, uint8_t num_of_point)
{
    if (num_of_point == 0) return 0.0f;
    if (input < x_ref[0]) return y_ref[0];
    for (int i = 1; i < num_of_point; ++i) {
        if (x_ref[i] > input) {
            const fp32 rise = y_ref[i] - y_ref[i - 1];
            const fp32 run = x_ref[i] - x_ref[i - 1];
            return y_ref[i - 1] + (input - x_ref[i - 1]) * rise / run;
        }
    }
    return y_ref[num_of_point - 1];
}

fp32 float_inv_sqrt(fp32 x)
{
    if (std::fabs(x) <= kNearZero) return fast_inv_sqrt(x);
    return 1.0f / sqrtf(x);
}

fp32 fast_inv_sqrt(fp32 x)
{
    // The shift keeps the sign bit; the subtraction is unsigned because it wraps for negative x.
    const int32_t half = std::bit_cast<int32_t>(x) >> 1;
    const fp32 y = std::bit_cast<fp32>(0x5F375A86u - static_cast<uint32_t>(half));
    return y * (1.5f - 0.5f * x * y * y);
}
