// DEALER and ROUTER over TCP on the loopback with CURVE: what two routers stand on.
#pragma once

#include "pair.h"

std::unique_ptr<pair> make_curve_pair();
