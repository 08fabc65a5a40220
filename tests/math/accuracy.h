// Seeded inputs and the worst error over many of them.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>

namespace math_test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int slowdown = 10;  // sanitizers make the oracle, not the library, the long part
#else
constexpr int slowdown = 1;
#endif
constexpr int random_cases = 100000 / slowdown;
constexpr int degenerate_cases = 10000 / slowdown;

// The same inputs in every run, so that the printed case can be found again.
constexpr unsigned seed = 20240229;

// Half a unit in the last place of 1: what rounding once costs at most. Errors are counted in it.
template <typename T>
constexpr double rounding = std::numeric_limits<T>::epsilon() / 2.0;

class source {
public:
    explicit source(bool degenerate) : degenerate_(degenerate) {}

    float between(double low, double high)
    {
        return static_cast<float>(std::uniform_real_distribution<double>(low, high)(engine_));
    }
    int integer(int low, int high) { return std::uniform_int_distribution<int>(low, high)(engine_); }

    // Within -1..1. Degenerate: zeros, ones, equal and opposite neighbours, and sizes that differ by up to 2^20.
    float element()
    {
        const float fresh = between(-1.0, 1.0);
        if (!degenerate_) return fresh;
        const int kind = integer(0, 6);
        if (kind < 2) last_ = static_cast<float>(kind);
        if (kind == 3) last_ = -last_;
        if (kind == 4) last_ = fresh;
        if (kind > 4) last_ = std::ldexp(fresh, integer(-20, 0));
        return last_;
    }

    bool degenerate() const { return degenerate_; }

private:
    std::mt19937 engine_{seed};  // NOLINT(cert-msc32-c,cert-msc51-cpp)
    bool degenerate_;
    float last_ = 0.0f;
};

// An operation and the largest error it may have.
struct allowance {
    const char* operation;
    double error;
};

// Asks `errors_of(source&)` for the errors of the operations in case after case, random ones and then degenerate ones,
// prints the worst of each operation and expects it to be allowed.
template <size_t K, typename ErrorsOf>
void expect_accuracy(const allowance (&allowed)[K], ErrorsOf errors_of)
{
    for (const bool degenerate : {false, true}) {
        source inputs(degenerate);
        const int count = degenerate ? degenerate_cases : random_cases;
        std::array<double, K> worst{};
        std::array<int, K> worst_case{};
        for (int i = 0; i < count; ++i) {
            const std::array<double, K> errors = errors_of(inputs);
            for (size_t k = 0; k < K; ++k) {
                if (errors[k] <= worst[k]) continue;
                worst[k] = std::isnan(errors[k]) ? std::numeric_limits<double>::infinity() : errors[k];
                worst_case[k] = i;
            }
        }
        for (size_t k = 0; k < K; ++k) {
            std::printf("%-24s %6d %-10s cases, seed %u: worst %-9.3g in case %d, allowed %g\n", allowed[k].operation,
                        count, degenerate ? "degenerate" : "random", seed, worst[k], worst_case[k], allowed[k].error);
            EXPECT_LE(worst[k], allowed[k].error) << allowed[k].operation << ", case " << worst_case[k];
        }
    }
}

template <typename ErrorOf>
void expect_accuracy(const char* operation, double allowed, ErrorOf error_of)
{
    expect_accuracy({{operation, allowed}}, [&](source& inputs) { return std::array{error_of(inputs)}; });
}

}  // namespace math_test
