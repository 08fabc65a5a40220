// Test signals, computed tick by tick.
#pragma once

#include <cstdint>

#include "math_basic.h"

// What calc_* return.
enum square_wave_sta_t : uint8_t { SQUARE_WAVE_DONE = 1, SQUARE_WAVE_RUNNING = 2 };

// Steps of +amp and -amp in turn, in phases of `intervals` seconds. Gap form: 0, +, 0, -, 0, ... over 2 x step_times +
// 1 phases; no-gap form: 0, +, -, +, ..., 0 over step_times + 3 phases. Phases are counted in 8 bits: a gap form of 128
// steps and more, and a no-gap form of 253 and more, never end.
class SquareWave {
public:
    SquareWave(float height, uint8_t with_gaps, uint8_t phase_s, uint8_t steps);

    void reset_counter() { counter = 0; }

    // One tick each: the value goes to `out`, the result is a square_wave_sta_t. Intervals of 0 s are done at once.
    uint8_t calc_square_wave(float* out);
    uint8_t calc_gap_square_wave(float* out);
    uint8_t calc_no_gap_square_wave(float* out);

private:
    uint8_t current_phase() const;
    uint8_t running(const char* function, uint8_t phase, float value) const;

    fp32 amp;            // unit of the commanded loop
    uint8_t intervals;   // s, one phase
    uint8_t step_times;  // steps
    uint8_t gap_flag;    // other than 0: gap form
    uint32_t counter = 0;
    uint16_t dt = 20;  // ms, one tick
};
