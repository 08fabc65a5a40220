// Numbers that a seed decides, the same on every machine.
#pragma once

#include <cstdint>

namespace sim {

class Random {
public:
    explicit Random(uint64_t seed) : state_(seed) {}

    // SplitMix64: each state gives one number, so neighbouring seeds have nothing in common.
    uint64_t next()
    {
        state_ += 0x9e3779b97f4a7c15;
        uint64_t mixed = state_;
        mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111eb;
        return mixed ^ (mixed >> 31);
    }

    uint64_t below(uint64_t bound) { return bound == 0 ? 0 : next() % bound; }
    uint32_t between(uint32_t least, uint32_t most)
    {
        return least + static_cast<uint32_t>(below(most - least + 1ull));
    }
    bool one_in(uint64_t count) { return below(count) == 0; }
    double unit() { return static_cast<double>(next() >> 11) * 0x1p-53; }  // 0 to below 1

private:
    uint64_t state_;
};

}  // namespace sim
