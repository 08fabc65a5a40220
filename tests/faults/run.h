// One run of a row: what it draws from its seed, what it counted, and the first thing that was not as it should be.
#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "stage/world.h"

class Run {
public:
    Run(World& where, uint64_t seed, bool full) : world(where), is_full(full), seed_(seed), random_(seed) {}

    World& world;
    const bool is_full;

    uint64_t seed() const { return seed_; }
    uint64_t below(uint64_t limit) { return random_() % limit; }  // of at least 1
    uint64_t between(uint64_t least, uint64_t most) { return least + below(most - least + 1); }
    bool one_in(uint64_t number) { return below(number) == 0; }
    bytes_t bytes(size_t count);

    // Ends the run unless it holds.
    void expect(bool holds, const std::string& what) const
    {
        if (!holds) throw broken_t(what);
    }
    void expect_log(const std::string& text);

    void inject(uint64_t count = 1) { injected += count; }
    void count(const std::string& outcome, uint64_t count = 1) { seen[outcome] += count; }

    uint64_t injected = 0;
    size_t more_files = 0;  // open at the end than with the usual peers: one for each other peer and client
    std::map<std::string, uint64_t> seen;

private:
    const uint64_t seed_;
    std::mt19937_64 random_;
};

std::string hex(const bytes_t& bytes);  // the first of them
std::string hex(uint8_t byte);          // 0xf5

// What holds after every row, the injector undone: an upgrade and a delivery succeed, a query is answered, and nothing
// is left open.
void expect_all_works(Run& run);
