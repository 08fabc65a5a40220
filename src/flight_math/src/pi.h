// Pi as every peer on the bus takes it: in single precision, also where the rest of the arithmetic is double.
#pragma once

#include "math_basic.h"

namespace fixed {

constexpr fp32 kHalfPi = 1.5707964f;
constexpr fp32 kPi = 3.1415927f;
constexpr fp32 kTwoPi = 6.2831855f;
static_assert(kHalfPi == 1.5707963705062866 && kPi == 3.1415927410125732 && kTwoPi == 6.2831854820251465);

}  // namespace fixed
