#include "flight_controller/sweep_signal.h"

#include <cmath>
#include <numbers>

namespace peers {
namespace {

// The flight controller's own numbers: its loops 4 to 13 are 1 to 10 of the test, and 14 belongs to nobody there.
AfqtCtrlLoopEnum loop_of(unsigned number)
{
    if (number >= 4 && number <= 13) return static_cast<AfqtCtrlLoopEnum>(number - 3);
    if (number >= 15 && number <= 22) return static_cast<AfqtCtrlLoopEnum>(number - 4);
    return kLoopNull;
}

}  // namespace

std::optional<sweep_request_t> read_sweep(const afqt_sweep_msg_t& message)
{
    const unsigned flag = message.inj_flag;
    sweep_request_t request;
    request.loop = loop_of(flag >> SWEEP_FLAG_LOOP_SHIFT & 31);
    request.point = static_cast<uint8_t>(flag >> SWEEP_FLAG_POINT_SHIFT & 1);
    request.start_hz = message.start_freq / 10.0;
    request.end_hz = message.end_freq / 10.0;
    request.amplitude = message.amp / 10.0;
    request.duration_s = message.during_time;
    const bool chirp = (flag >> SWEEP_FLAG_METHOD_SHIFT & 3) == kChirpZSig;
    const bool moves = request.start_hz + request.end_hz > 0 && request.duration_s > 0;
    if (!chirp || !moves || request.loop == kLoopNull) return std::nullopt;
    return request;
}

SweepSignal::SweepSignal(const sweep_request_t& request, sweep_law law) : request_(request), law_(law)
{
    const double low = std::fmin(request.start_hz, request.end_hz);
    if (low <= 0 || request.start_hz == request.end_hz) law_ = sweep_law::linear;
}

double SweepSignal::value() const
{
    return over() ? 0 : request_.amplitude * std::sin(phase());
}

double SweepSignal::frequency() const
{
    if (over()) return 0;
    const double part = time_ / request_.duration_s;
    if (law_ == sweep_law::linear) return request_.start_hz + part * (request_.end_hz - request_.start_hz);
    return request_.start_hz * std::pow(request_.end_hz / request_.start_hz, part);
}

double SweepSignal::phase() const
{
    if (over()) return 0;
    const double turn = 2 * std::numbers::pi;
    if (law_ == sweep_law::linear) return turn * time_ * (request_.start_hz + frequency()) / 2;
    const double growth = std::log(request_.end_hz / request_.start_hz);
    return turn * request_.duration_s / growth * (frequency() - request_.start_hz);
}

}  // namespace peers
