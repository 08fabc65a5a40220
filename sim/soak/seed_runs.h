// Many soak runs, each in a process of its own, and what becomes of a failing one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sim {

struct soak_options_t {
    double minutes = 1;
    uint64_t first = 0;  // seed; 0: by the date
    uint64_t seeds = 0;  // 0: until time is up
    uint64_t jobs = 1;
    bool twice = false;  // every seed again, comparing the traces
    bool as_json = false;
    std::optional<uint64_t> replay;  // this seed only
    std::vector<size_t> only;        // of its actions; empty: all
    std::string service;             // path of the module
};

// Runs and prints. The exit status: 0 clean, 1 something broke, 2 nothing could run.
int run_seeds(const soak_options_t& options);

}  // namespace sim
