// The library's kernels beside Eigen's and beside plain formulas in double, compiled alike, in one run and taking
// turns, so that whatever else the machine does meets both sides. A ratio is the median over the turns of ours /
// theirs.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>

#include "kernels.h"
#include "report.h"

namespace {

constexpr double GOAL = 1.2;

struct comparison {
    std::string name;
    kernel ours;
    kernel theirs;
    size_t size = 4;  // of the matrices
    std::optional<double> goal = GOAL;
    std::vector<double> own_ns = {};
    std::vector<double> ratios = {};
};

std::vector<comparison> all_comparisons()
{
    return {
        {"math_multiply4_eigen", ours::multiply4, eigen::multiply4},
        {"math_multiply9_eigen", ours::multiply9, eigen::multiply9, 9},
        {"math_inverse4_eigen_checked", ours::inverse4, eigen::inverse4_checked},
        {"math_inverse4_eigen_unchecked", ours::inverse4, eigen::inverse4},
        {"math_inverse9_eigen", ours::inverse9, eigen::inverse9, 9},
        {"math_quat_multiply_eigen", ours::quat_multiply, eigen::quat_multiply},
        {"math_quat_multiply_eigen_inlined", ours::quat_multiply, eigen::quat_multiply_inlined, 4, std::nullopt},
        {"math_quat_rotate_eigen", ours::quat_rotate, eigen::quat_rotate},
        {"math_quat_rotate_eigen_inlined", ours::quat_rotate, eigen::quat_rotate_inlined, 4, std::nullopt},
        {"math_gps_distance_plain", ours::gps_distance, plain::gps_distance},
        {"math_gps_offset_plain", ours::gps_offset, plain::gps_offset},
    };
}

// Matrices a filter would invert: random with a heavier diagonal. Every prefix of `a` and `b` serves as quaternions and
// vectors as well; positions lie up to 0.001 rad apart.
void fill(batch& data, size_t size)
{
    std::mt19937 engine(1);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same work in every run
    std::uniform_real_distribution<float> element(-1.0f, 1.0f);
    for (float& x : data.a)
        x = element(engine);
    for (float& x : data.b)
        x = element(engine);
    for (size_t i = 0; i < batch::count * size; ++i)
        data.a[i * size + i % size] += 2.0f;
    std::uniform_real_distribution<double> latitude(-1.4, 1.4);
    for (size_t i = 0; i < batch::count; ++i) {
        for (size_t axis = 0; axis < 2; ++axis) {
            data.pos_a[i][axis] = latitude(engine);
            data.pos_b[i][axis] = data.pos_a[i][axis] + 0.001 * static_cast<double>(element(engine));
        }
    }
}

double nanoseconds_per_call(kernel run, batch& data, size_t repeats)
{
    run(data);
    const auto start = std::chrono::steady_clock::now();
    for (size_t i = 0; i < repeats; ++i)
        run(data);
    const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
    return taken.count() / static_cast<double>(repeats * batch::count);
}

void measure(comparison& one, batch& data, size_t turns)
{
    // Long enough for the clock, short enough that both sides meet the same machine: about 0.1 ms a turn.
    const size_t repeats = 1 + static_cast<size_t>(1e5 / (nanoseconds_per_call(one.ours, data, 20) * batch::count));
    for (size_t turn = 0; turn < turns; ++turn) {
        const double own = nanoseconds_per_call(one.ours, data, repeats);
        one.own_ns.push_back(own);
        one.ratios.push_back(own / nanoseconds_per_call(one.theirs, data, repeats));
    }
}

int run(int argc, char** argv)
{
    CLI::App program("Flight math beside Eigen and plain formulas. Example: math_bench --turns 100 --json");
    bool as_json = false;
    size_t turns = 500;
    program.add_flag("--json", as_json, "print JSON instead of a table");
    program.add_option("--turns", turns, "turns of each side")->check(CLI::Range(1, 100000))->capture_default_str();
    CLI11_PARSE(program, argc, argv);

    const auto data = std::make_unique<batch>();
    bench::report report;
    for (comparison& one : all_comparisons()) {
        fill(*data, one.size);
        measure(one, *data, turns);
        report.add(
            {one.name, bench::summarise(one.own_ns).median, "ns", bench::summarise(one.ratios).median, one.goal});
    }
    report.print(as_json);
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "math_bench: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
