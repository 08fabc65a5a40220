// What happens to the system in one soak run: work for it to do, and faults.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sim {

enum class action_kind : uint8_t {
    upgrade,         // the app sends a database; `detail`: upgrade_fault
    cancel_upgrade,  // the app gives up without a word
    deliver_areas,   // the app delivers restrictions; `detail`: how many areas
    cancel_delivery,
    test_on,  // the station switches the flight test on
    test_off,
    read_database,    // the flight controller reads it back
    kill_service,     // and launches it again after `length_us`
    lose_controller,  // it dies, and comes back after `length_us`
    lose_app,
    lose_station,
    refuse_sends,    // one send in `detail` finds the queue full, for `length_us`
    lose_records,    // one record in `detail` is lost on its way, for `length_us`
    hostile_record,  // somebody sends nonsense; `detail` is its seed
};
inline constexpr uint8_t ACTION_KINDS = 14;

enum class upgrade_fault : uint8_t { none, older, bit_flipped, too_short };
inline constexpr uint8_t UPGRADE_FAULTS = 4;

struct action_t {
    uint64_t time_us;
    action_kind kind;
    uint64_t detail;
    uint64_t length_us;
};

// What the seed makes happen, by time. After the last of them the system is left alone.
std::vector<action_t> make_actions(uint64_t seed);

// For example "  12.345 s  the service is killed, back after 1.2 s".
std::string action_text(const action_t& action);

}  // namespace sim
