// What is said of records that one link drops: a line when drops of a kind begin, and one when they have ended.
#pragma once

#include <array>
#include <chrono>
#include <string>

#include "counters.h"
#include "report.h"

namespace router {

class DropNews {
public:
    // All of them must stay.
    DropNews(const std::string& link, const counters_t& counters, const Report& report)
        : link_(link), counters_(counters), report_(report)
    {
    }

    // Says what has changed since the last look.
    void look();

private:
    using clock = std::chrono::steady_clock;
    // Drops of one kind.
    struct bout_t {
        uint64_t seen = 0;
        uint64_t before = 0;  // this bout
        bool is_going_on = false;
        clock::time_point last = {};
    };

    void look_at(uint32_t reason, clock::time_point now);
    void say_begin(uint32_t reason) const;
    void say_end(uint32_t reason, uint64_t count) const;

    const std::string& link_;
    const counters_t& counters_;
    const Report& report_;
    std::array<bout_t, DROPS> bouts_ = {};
};

}  // namespace router
