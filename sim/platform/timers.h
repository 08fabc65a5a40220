// Periodic timers on the virtual clock.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kest_osal.h"
#include "platform/parties.h"
#include "platform/schedule.h"

namespace sim {

struct platform_timer_t {
    std::string name;
    kest_osal_timer_attrib_t attrib;
    uint64_t due_us;  // boot time of the next tick
    party_t party;
    bool ended = false;
    bool busy = false;  // its callback is under way
    int32_t calls = 0;
};

class Timers {
public:
    Timers(Schedule& schedule, Parties& parties) : schedule_(schedule), parties_(parties) {}

    platform_timer_t& create(const kest_osal_timer_attrib_t& attrib);
    void end(void* timer);
    void end_all_of(party_t party);

    // A timer's event is there: its callback runs, and the next tick is planned. Ticks that passed while it ran are
    // dropped.
    void tick(uint32_t timer);

    // The callback alone, out of schedule.
    void fire(platform_timer_t& timer);

    const std::vector<std::unique_ptr<platform_timer_t>>& all() const { return all_; }

    // Every schedule moves along with time that nobody noticed.
    void skip(uint64_t time_us);

private:
    void plan(uint32_t timer);

    Schedule& schedule_;
    Parties& parties_;
    std::vector<std::unique_ptr<platform_timer_t>> all_;  // ended ones too: an event may still name them
};

}  // namespace sim
