#include "afqt/include/afqt_signal_lib.h"

#include "afqt/include/afqt_debugger.h"

SquareWave::SquareWave(float height, uint8_t with_gaps, uint8_t phase_s, uint8_t steps)
    : amp(height), intervals(phase_s), step_times(steps), gap_flag(with_gaps)
{
}

uint8_t SquareWave::calc_square_wave(float* out)
{
    return gap_flag != 0 ? calc_gap_square_wave(out) : calc_no_gap_square_wave(out);
}

uint8_t SquareWave::calc_gap_square_wave(float* out)
{
    *out = 0.0f;
    ++counter;
    if (intervals == 0) return SQUARE_WAVE_DONE;
    const uint8_t phase = current_phase();
    if (phase >= 2 * step_times + 1) return SQUARE_WAVE_DONE;
    if (phase % 4 == 1) *out = amp;
    if (phase % 4 == 3) *out = -amp;
    return running(__func__, phase, *out);
}

uint8_t SquareWave::calc_no_gap_square_wave(float* out)
{
    *out = 0.0f;
    ++counter;
    if (intervals == 0) return SQUARE_WAVE_DONE;
    const uint8_t phase = current_phase();
    if (phase >= step_times + 3) return SQUARE_WAVE_DONE;
    const bool at_rest = phase == 0 || phase == step_times + 2;
    if (!at_rest) *out = phase % 2 == 1 ? amp : -amp;
    return running(__func__, phase, *out);
}

uint8_t SquareWave::current_phase() const
{
    return static_cast<uint8_t>(dt * counter / (uint32_t{1000} * intervals));
}

uint8_t SquareWave::running(const char* function, uint8_t phase, float value) const
{
    _afqt_log(function, "counter,%d,times,%d,step,%.2f\r\n", static_cast<int>(counter), static_cast<int>(phase),
              static_cast<double>(value));
    return SQUARE_WAVE_RUNNING;
}
