// What the service's own log (afqt_log_…) tells of a flight.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace peers {

struct service_state_t {
    double seconds;  // of the service's clock
    uint8_t state;   // as the heartbeat names it
};

struct service_log_t {
    std::vector<service_state_t> states;  // of the last flight, each from its time on
    std::optional<double> airborne_s;     // when it saw the aircraft in the air, holding
    bool switched_off = false;
    bool list_done = false;             // the list was flown to its end
    std::optional<uint8_t> failed_in;   // the state in which it gave up
    std::vector<std::string> problems;  // in words, each once

    // Lines that are none of the service's are stepped over. A log may hold several flights: the last one counts.
    static service_log_t parse(std::string_view text);
};

}  // namespace peers
