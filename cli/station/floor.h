// What the factory floor looks like: every aircraft that was heard, its state and its last flights. Any thread.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "afqt_wire.h"
#include "factory/test_watch.h"
#include "failure.h"

namespace cli {

// An aircraft: the bus on which it is heard, as a place in the list of buses, and its address there.
struct aircraft_id_t {
    uint16_t bus;
    uint16_t address;
    bool operator<(const aircraft_id_t& other) const
    {
        return std::pair(bus, address) < std::pair(other.bus, other.address);
    }
};

class Floor {
public:
    // Boot times are those of this machine.
    void on_heartbeat(aircraft_id_t from, const afqt_heart_beat_t& beat, uint64_t now_us);
    void on_notice(aircraft_id_t from, const afqt_on_off_cmd_t& notice);

    // Time passes: aircraft fall silent.
    void on_time(uint64_t now_us);

    bool knows(aircraft_id_t id) const;

    // What a page shows, and the number of this picture of it; `seen` is the number of the last one. Waits for another
    // until `patience_ms` have passed. None when closed.
    struct picture_t {
        uint64_t number;
        json aircraft;
    };
    std::optional<picture_t> wait_for_news(uint64_t seen, uint32_t patience_ms) const;

    // Ends all waits, for ever.
    void close();

private:
    struct flight_t {
        std::string outcome;
        std::string what;
        std::string next;
        double seconds;
    };
    struct aircraft_t {
        std::optional<peers::TestWatch> watch;  // of the flight that is under way, or was the last
        afqt_heart_beat_t beat = {};
        uint64_t heard_us = 0;
        uint64_t state_since_us = 0;
        uint64_t flight_since_us = 0;
        bool silent = false;
        std::vector<flight_t> flights;  // newest first
    };

    void changed();
    void begin_flight_if_one_begins(aircraft_t& aircraft, const afqt_heart_beat_t& beat, uint64_t now_us);
    void end_flight_if_one_ends(aircraft_t& aircraft, uint64_t now_us);
    static json picture_of(aircraft_id_t id, const aircraft_t& aircraft, uint64_t now_us);

    mutable std::mutex mutex_;
    mutable std::condition_variable news_;
    // Guarded by the mutex.
    std::map<aircraft_id_t, aircraft_t> aircraft_;
    uint64_t number_ = 1;
    uint64_t now_us_ = 0;
    bool closed_ = false;
};

}  // namespace cli
