// A flight in a process of its own.
#pragma once

#include <string>

#include "fly/variation.h"
#include "world/child.h"
#include "world/service_module.h"

namespace cli {

struct flying_t {
    std::string list;  // text of the motion list
    std::string log;   // flight record to write; empty: none
    variation_t variation;
};

// Flies the aircraft of that seed and reports news and result. In a child; returns its exit status: not 0 when there is
// no result, and the last line says why.
int fly_in_child(const flying_t& flying, uint64_t seed, sim::ServiceModule& service, const sim::Report& report);

}  // namespace cli
