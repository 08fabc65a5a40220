// The frequency sweep that the flight controller injects into one of its own loops on request.
#pragma once

#include <cstdint>
#include <optional>

#include "afqt_wire.h"

namespace peers {

struct sweep_request_t {
    AfqtCtrlLoopEnum loop = kLoopNull;
    uint8_t point = 0;    // 0: on the loop's command, 1: on what the loop asks of the next one
    double start_hz = 0;  // above zero for an exponential sweep
    double end_hz = 0;
    double amplitude = 0;  // in the unit of what it is added to
    double duration_s = 0;
};

// None for a loop that does not exist here, another signal than the sweep, no duration, or no frequency.
std::optional<sweep_request_t> read_sweep(const afqt_sweep_msg_t& message);

enum class sweep_law { linear, exponential };

class SweepSignal {
public:
    SweepSignal() = default;
    // An exponential sweep from or to zero hertz becomes a linear one.
    SweepSignal(const sweep_request_t& request, sweep_law law);

    void advance(double seconds) { time_ += seconds; }
    bool over() const { return time_ >= request_.duration_s; }

    const sweep_request_t& request() const { return request_; }
    double value() const;      // zero when over
    double frequency() const;  // Hz, of this instant
    double phase() const;      // rad since the start, not wrapped

private:
    sweep_request_t request_;
    sweep_law law_ = sweep_law::linear;
    double time_ = 0;
};

}  // namespace peers
