// What a loop makes of the frequencies of a sweep, by Welch's method.
#pragma once

#include <complex>
#include <cstddef>
#include <span>
#include <vector>

namespace peers {

// All three of one length, at one rate.
struct swept_signals_t {
    double rate_hz = 0;
    std::span<const double> excitation;  // what was added to the command: the sweep itself
    std::span<const double> command;
    std::span<const double> value;
};

struct response_point_t {
    double hz = 0;
    std::complex<double> response;  // value by command
    double phase_deg = 0;           // without jumps from point to point; the first one from -180 to 180
    double coherence = 0;           // part of the value's power that the excitation explains, 0 to 1
    double deviation = 0;           // standard deviation of the response by noise: part of its size, radians of phase

    double magnitude_db() const;
    // Three deviations are 0.4 dB and 2.6 degrees.
    bool sure() const { return deviation <= 0.015; }
};

// `segment` rows have one transform. Command and value are both compared with the excitation, so that noise which a
// loop around this one feeds back is in neither. docs/flight-reports.md has the method. Points from `low_hz` to
// `high_hz`, at least 1.5 % apart; none when a signal has a value that is not a number.
std::vector<response_point_t> measure_response(const swept_signals_t& signals, size_t segment, double low_hz,
                                               double high_hz);

}  // namespace peers
