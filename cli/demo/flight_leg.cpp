#include "demo/flight_leg.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "common/clock.h"
#include "console.h"
#include "units.h"

namespace cli {
namespace {

constexpr const char* LISTS = "/tmp/SD0/factory_test";
constexpr const char* MARKER = "/tmp/EMMC/AFQT_ENABLE.txt";

}  // namespace

step_result_t prepare_flight(const demo_options_t& options)
{
    std::error_code error;
    for (const char* folder : {"/tmp/SD0/factory_test/afqt", "/tmp/blackbox/log/afqt"})
        std::filesystem::create_directories(folder, error);
    std::filesystem::copy_file(options.list, std::string(LISTS) + "/afqt_motion_cfg_0.json",
                               std::filesystem::copy_options::overwrite_existing, error);
    if (error) return failed(options.list + ": " + error.message(), "Name a motion list: examples/motion-lists/.");
    std::ofstream(std::string(LISTS) + "/afqt/latest") << "1";  // number of the flight controller's own log
    const std::ofstream marker(MARKER);
    const size_t motions = motions_of(options.list).value_or(0);
    return held(std::to_string(motions) + " motions from " + options.list);
}

bool FlightLeg::run()
{
    return stage_.step("factory flight", [this] { return fly(); }) &&
           stage_.step("landed where it stood", [this] { return see_landed(); });
}

step_result_t FlightLeg::fly()
{
    start_us_ = peers::now_us();
    inbox_.begin(start_us_, 0);
    const kest_result_t sent = stage_.station().switch_on(0);
    if (sent != 0) return stage_.failed_see_log("the switch was not taken");
    const size_t motions = motions_of(stage_.options().list).value_or(0);
    if (!stage_.quiet()) std::printf("\n");
    const auto told = [&](const TestInbox::news_t& news) {
        if (stage_.context().as_json) return;
        std::printf("  %8.1f s  %s\n", static_cast<double>(news.time_us - start_us_) / 1e6,
                    beat_text(news.beat, motions).c_str());
        std::fflush(stdout);
    };
    bool interrupted = false;
    report_ = follow_test(inbox_, stage_.waiter(), told, interrupted);
    seconds_ = static_cast<double>(peers::now_us() - start_us_) / 1e6;
    if (interrupted) stage_.interrupt();
    if (report_.outcome != peers::test_outcome::finished) return stage_.failed_see_log(report_.what);
    return held(report_.what + ", " + duration_text(seconds_) + " of flight");
}

step_result_t FlightLeg::see_landed()
{
    const auto motors_off = [this] { return stage_.controller().bags().state().fsm == 0; };
    if (stage_.wait_for(motors_off) != wake::notified) return stage_.failed_see_log("the motors still run");
    const peers::motion_t truth = stage_.controller().aircraft()->truth();
    miss_m_ = std::hypot(truth.position.x, truth.position.y);
    if (!stage_.close_flight_log()) return failed(stage_.options().flight_log + ": cannot be written", "");
    char text[96];
    std::snprintf(text, sizeof text, "%.2f m from it, motors off", miss_m_);
    return held(text);
}

json FlightLeg::summary_json() const
{
    return {{"outcome", peers::outcome_name(report_.outcome)},
            {"seconds", seconds_},
            {"heartbeats", report_.beats},
            {"landed_m_from_start", miss_m_}};
}

void FlightLeg::print_summary() const
{
    std::printf(
        "  The station switched the factory test on; the service took the aircraft up, flew the list, brought\n"
        "  it back and landed it %.2f m from its start: %s of flight, simulated many times faster.\n",
        miss_m_, duration_text(seconds_).c_str());
}

}  // namespace cli
