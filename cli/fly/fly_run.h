// The two ways to fly: once with everything shown, and many times with what the flights have in common.
#pragma once

#include <cstdint>
#include <string>

#include "failure.h"
#include "fly/flying.h"

namespace cli {

struct fly_options_t {
    std::string list;     // path
    std::string service;  // path of the module; empty: where it is installed
    flying_t flying;
    uint64_t runs = 0;  // 0: one flight, shown
    uint64_t jobs = 1;
    std::string csv;
    std::string svg;
};

exit_code fly_once(const context_t& context, const fly_options_t& options, sim::ServiceModule& service);
exit_code fly_many(const context_t& context, const fly_options_t& options, sim::ServiceModule& service);

}  // namespace cli
