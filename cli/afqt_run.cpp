#include "afqt_run.h"

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <utility>

#include "common/clock.h"
#include "console.h"
#include "units.h"

namespace cli {
namespace {

constexpr auto LOOK = std::chrono::milliseconds(100);

}  // namespace

peers::station_events_t TestInbox::events()
{
    const auto heartbeat = [this](uint16_t, const afqt_heart_beat_t& beat) {
        {
            const std::lock_guard lock(mutex_);
            const uint64_t now = peers::now_us();
            if (watch_ && watch_->on_heartbeat(beat, now)) news_.push_back({beat, now});
        }
        waiter_.notify();
    };
    const auto notice = [this](uint16_t, const afqt_on_off_cmd_t& heard) {
        const std::lock_guard lock(mutex_);
        if (watch_) watch_->on_notice(heard);
    };
    return {heartbeat, notice};
}

void TestInbox::begin(uint64_t start_us, uint8_t file_index)
{
    const std::lock_guard lock(mutex_);
    watch_.emplace(start_us, file_index);
}

std::vector<TestInbox::news_t> TestInbox::take_news()
{
    const std::lock_guard lock(mutex_);
    return std::exchange(news_, {});
}

peers::test_report_t TestInbox::report()
{
    const std::lock_guard lock(mutex_);
    if (!watch_) return {};
    watch_->on_time(peers::now_us());
    return watch_->report();
}

peers::test_report_t follow_test(TestInbox& inbox, Waiter& waiter,
                                 const std::function<void(const TestInbox::news_t&)>& told, bool& interrupted)
{
    interrupted = false;
    for (;;) {
        for (const TestInbox::news_t& news : inbox.take_news())
            told(news);
        peers::test_report_t report = inbox.report();
        if (report.outcome != peers::test_outcome::running) return report;
        if (waiter.wait(LOOK) != wake::interrupted) continue;
        interrupted = true;
        return report;
    }
}

std::string beat_text(const afqt_heart_beat_t& beat, size_t motions)
{
    std::string text = peers::test_state_text(beat.afqt_state);
    if (beat.afqt_state == kStaMotionListRun) {
        text += ": motion " + std::to_string(beat.motion_num);
        if (motions > 0) text += " of " + std::to_string(motions);
        text += std::string(", ") + peers::motion_text(beat.motion_id);
        if (beat.motion_loop != kLoopNull) text += std::string(", ") + peers::control_loop_text(beat.motion_loop);
    }
    if (beat.err_code != ERROR_NONE) text += std::string(" (") + peers::test_error_text(beat.err_code) + ")";
    return text;
}

json beat_json(const afqt_heart_beat_t& beat)
{
    return {{"state", beat.afqt_state},         {"state_text", peers::test_state_text(beat.afqt_state)},
            {"error", beat.err_code},           {"error_text", peers::test_error_text(beat.err_code)},
            {"motion_id", beat.motion_id},      {"motion", peers::motion_text(beat.motion_id)},
            {"motion_number", beat.motion_num}, {"loop", peers::control_loop_text(beat.motion_loop)}};
}

exit_code exit_code_of(peers::test_outcome outcome)
{
    switch (outcome) {
        case peers::test_outcome::running:
        case peers::test_outcome::finished:
            return exit_code::ok;
        case peers::test_outcome::stopped:
            return exit_code::test_stopped;
        case peers::test_outcome::failed:
            return exit_code::test_failed;
        case peers::test_outcome::not_started:
            return exit_code::refused_state;
        case peers::test_outcome::silent:
            return exit_code::unreachable;
    }
    return exit_code::unexpected;
}

std::optional<size_t> motions_of(const std::string& path)
{
    std::ifstream file(path);
    return motions_in({std::istreambuf_iterator<char>(file), {}});
}

std::optional<size_t> motions_in(const std::string& text)
{
    const json list = json::parse(text, nullptr, false);
    if (!list.is_object() || !list.contains("attribute")) return std::nullopt;
    const json& attribute = list["attribute"];
    if (!attribute.is_object() || !attribute.contains("motion_num")) return std::nullopt;
    if (!attribute["motion_num"].is_number_unsigned()) return std::nullopt;
    return attribute["motion_num"].get<size_t>();
}

void print_line(const context_t& context, double seconds, const std::string& text, const json& object)
{
    if (context.as_json)
        std::printf("%s\n", json{{"seconds", seconds}, {"event", object}}.dump().c_str());
    else
        std::printf("%8.1f s  %s\n", seconds, text.c_str());
    std::fflush(stdout);
}

exit_code print_end(const context_t& context, const peers::test_report_t& report, double seconds, json more)
{
    more.update({{"outcome", peers::outcome_name(report.outcome)}, {"seconds", seconds}, {"beats", report.beats}});
    if (report.outcome != peers::test_outcome::finished) {
        return cli::report(
            context,
            {exit_code_of(report.outcome),
             "the test " +
                 std::string(report.outcome == peers::test_outcome::failed ? "failed: " : "did not finish: ") +
                 report.what,
             report.next},
            more);
    }
    if (context.as_json)
        print_result(more);
    else
        std::printf("%s %s, after %s\n", styled(style::good, "✓").c_str(), report.what.c_str(),
                    duration_text(seconds).c_str());
    return exit_code::ok;
}

}  // namespace cli
