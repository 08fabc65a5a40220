// A flight in figures: how far, how high, and how the loops answered the steps they were given.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "afqt_wire.h"
#include "flight_controller/aircraft_model.h"
#include "flight_record/step_response.h"

namespace sim {

struct flight_figures_t {
    double path_m = 0;      // flown, to a fifth of a metre
    double highest_m = 0;   // above the start
    double farthest_m = 0;  // from the start, level
    double landed_m = 0;    // from the start, level, at the end
    double worst_tilt_deg = 0;
    std::map<uint8_t, peers::step_figures_t> steps;  // by loop (AfqtCtrlLoopEnum), of the step motions
};

// Collects while it flies.
class FlightFigures {
public:
    void take(const peers::flight_row_t& row);
    void hear(const afqt_heart_beat_t& beat);

    flight_figures_t figures() const;

private:
    // The loop's command and value of each row while the list steps it.
    struct stepped_t {
        std::vector<double> times, commands, values;
    };

    void follow(const peers::flight_row_t& row);

    flight_figures_t so_far_;
    peers::vec3_t last_place_;
    uint8_t loop_ = kLoopNull;  // that the list steps now, as far as the last heartbeat told
    std::map<uint8_t, stepped_t> stepped_;
};

}  // namespace sim
