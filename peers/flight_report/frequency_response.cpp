#include "flight_report/frequency_response.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>
#include <numeric>

#include <kissfft.hh>

namespace peers {
namespace {

using complex_t = std::complex<double>;

// Four segments begin within the length of one. At two, the usual number for this window, moments of a sweep have
// weights that differ by a factor of two, and a response late by a part of a second comes out too large or too small.
constexpr size_t BEGIN_WITHIN_SEGMENT = 4;
// Neighbours of a line that count as well: this part of its frequency, and at least the width of the window.
constexpr double BAND = 0.1;
constexpr double LEAST_RATIO = 1.015;  // of two points' frequencies

// Sums over the segments, by line of the transform: products of excitation (r), command (u) and value (y).
struct spectra_t {
    std::vector<complex_t> ru, ry, uy;
    std::vector<double> rr, uu, yy;
    std::vector<double> hertz;  // weighted by rr
};

std::vector<double> hann(size_t length)
{
    std::vector<double> window;
    for (size_t i = 0; i < length; i++) {
        const double turn = 2 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(length);
        window.push_back(0.5 - 0.5 * std::cos(turn));
    }
    return window;
}

// Without its mean, and between zeros: every row then has the same weight in all segments together.
std::vector<double> padded(std::span<const double> signal, size_t segment)
{
    const double mean = std::accumulate(signal.begin(), signal.end(), 0.0) / static_cast<double>(signal.size());
    std::vector<double> rows(signal.size() + 2 * segment);
    for (size_t i = 0; i < signal.size(); i++)
        rows[segment + i] = signal[i] - mean;
    return rows;
}

// A segment is filled up with zeros to a power of two: the same spectrum, at closer lines.
std::vector<complex_t> transform(const kissfft<double>& fft, std::span<const double> rows,
                                 std::span<const double> window)
{
    const size_t length = std::bit_ceil(rows.size());
    std::vector<complex_t> in(length);
    std::vector<complex_t> out(length);
    for (size_t i = 0; i < rows.size(); i++)
        in[i] = window[i] * rows[i];
    fft.transform(in.data(), out.data());
    return out;
}

void add(spectra_t& sums, const std::vector<complex_t>& r, const std::vector<complex_t>& u,
         const std::vector<complex_t>& y)
{
    for (size_t i = 0; i < sums.rr.size(); i++) {
        sums.rr[i] += std::norm(r[i]);
        sums.uu[i] += std::norm(u[i]);
        sums.yy[i] += std::norm(y[i]);
        sums.ru[i] += std::conj(r[i]) * u[i];
        sums.ry[i] += std::conj(r[i]) * y[i];
        sums.uy[i] += std::conj(u[i]) * y[i];
    }
}

spectra_t spectra_of(const swept_signals_t& signals, size_t segment)
{
    const size_t length = std::bit_ceil(segment);
    const kissfft<double> fft(length, false);
    const std::vector<double> window = hann(segment);
    const std::vector<double> r = padded(signals.excitation, segment);
    const std::vector<double> u = padded(signals.command, segment);
    const std::vector<double> y = padded(signals.value, segment);
    const size_t lines = length / 2 + 1;
    const std::vector<complex_t> products(lines);
    const std::vector<double> powers(lines);
    spectra_t sums = {products, products, products, powers, powers, powers, powers};
    const size_t hop = std::max<size_t>(segment / BEGIN_WITHIN_SEGMENT, 1);
    for (size_t begin = 0; begin + segment <= r.size(); begin += hop) {
        const auto part = [&](const std::vector<double>& rows) {
            return transform(fft, std::span<const double>(rows).subspan(begin, segment), window);
        };
        add(sums, part(r), part(u), part(y));
    }
    for (size_t i = 0; i < lines; i++)
        sums.hertz[i] = sums.rr[i] * static_cast<double>(i) * signals.rate_hz / static_cast<double>(length);
    return sums;
}

// Lines on either side of a line that count as well.
size_t neighbours(size_t line)
{
    return std::max<size_t>(1, static_cast<size_t>(static_cast<double>(line) * BAND));
}

// Sums over the neighbours of each line.
template <class Number>
std::vector<Number> spread(const std::vector<Number>& lines)
{
    std::vector<Number> sums(lines.size() + 1);
    std::partial_sum(lines.begin(), lines.end(), sums.begin() + 1);
    std::vector<Number> wide;
    for (size_t i = 0; i < lines.size(); i++) {
        const size_t half = neighbours(i);
        wide.push_back(sums[std::min(i + half + 1, lines.size())] - sums[i - std::min(half, i)]);
    }
    return wide;
}

bool numbers_only(std::span<const double> signal)
{
    return std::all_of(signal.begin(), signal.end(), [](double value) { return std::isfinite(value); });
}

// What is left of the value's power when it answers to the command, and the answer may change evenly with frequency:
// the noise in the neighbourhood of a line.
double noise_near(const spectra_t& lines, size_t line)
{
    const size_t half = neighbours(line);
    const size_t begin = line - std::min(half, line);
    const size_t end = std::min(line + half + 1, lines.rr.size());
    double u0 = 0, u1 = 0, u2 = 0, y = 0;
    complex_t uy0, uy1;
    for (size_t i = begin; i < end; i++) {
        const double offset = static_cast<double>(i) - static_cast<double>(line);
        u0 += lines.uu[i];
        u1 += lines.uu[i] * offset;
        u2 += lines.uu[i] * offset * offset;
        uy0 += lines.uy[i];
        uy1 += lines.uy[i] * offset;
        y += lines.yy[i];
    }
    const double scale = u0 * u2 - u1 * u1;
    if (!(scale > 0)) return y;
    const complex_t middle = (u2 * uy0 - u1 * uy1) / scale;
    const complex_t slope = (u0 * uy1 - u1 * uy0) / scale;
    return std::max(y - (std::conj(middle) * uy0 + std::conj(slope) * uy1).real(), 0.0);
}

// At the frequency where the power of the excitation is, which at the sweep's ends is not the middle of its lines.
response_point_t point_of(const spectra_t& wide, size_t i)
{
    response_point_t point;
    point.hz = wide.hertz[i] / wide.rr[i];
    point.response = wide.ry[i] / wide.ru[i];
    point.phase_deg = std::arg(point.response) * 180 / std::numbers::pi;
    point.coherence = std::norm(wide.ry[i]) / (wide.rr[i] * wide.yy[i]);
    return point;
}

// The noise is spread over as many independent samples of the spectrum as the band is wide, in units of one by the
// signals' length, less the two that the answer took. Half of it has a part in the size, half in the phase.
double deviation_of(const spectra_t& wide, size_t i, double noise, double samples)
{
    return std::sqrt(noise * wide.rr[i] / (2 * std::max(samples - 2, 1.0) * std::norm(wide.ry[i])));
}

void append(std::vector<response_point_t>& points, response_point_t point)
{
    if (!points.empty()) {
        if (point.hz < points.back().hz * LEAST_RATIO) return;
        point.phase_deg -= 360 * std::round((point.phase_deg - points.back().phase_deg) / 360);
    }
    points.push_back(point);
}

}  // namespace

double response_point_t::magnitude_db() const
{
    return 20 * std::log10(std::abs(response));
}

std::vector<response_point_t> measure_response(const swept_signals_t& signals, size_t segment, double low_hz,
                                               double high_hz)
{
    if (segment < 2 || segment > signals.value.size()) return {};
    if (!numbers_only(signals.excitation) || !numbers_only(signals.command) || !numbers_only(signals.value)) return {};
    const spectra_t lines = spectra_of(signals, segment);
    const spectra_t wide = {spread(lines.ru), spread(lines.ry), spread(lines.uy),   spread(lines.rr),
                            spread(lines.uu), spread(lines.yy), spread(lines.hertz)};
    const double samples_per_line =
        static_cast<double>(signals.value.size()) / static_cast<double>(std::bit_ceil(segment));
    std::vector<response_point_t> points;
    for (size_t i = 1; i < wide.rr.size(); i++) {
        if (wide.rr[i] <= 0 || wide.yy[i] <= 0 || std::norm(wide.ru[i]) <= 0) continue;
        response_point_t point = point_of(wide, i);
        if (point.hz < low_hz || point.hz > high_hz) continue;
        const double samples = (2 * static_cast<double>(neighbours(i)) + 1) * samples_per_line;
        point.deviation = deviation_of(wide, i, noise_near(lines, i), samples);
        append(points, point);
    }
    return points;
}

}  // namespace peers
