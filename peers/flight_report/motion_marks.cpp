#include "flight_report/motion_marks.h"

#include <charconv>
#include <optional>
#include <string_view>

#include "afqt_wire.h"
#include "factory/test_watch.h"

namespace peers {
namespace {

constexpr std::string_view MOTION = "motion ";
constexpr std::string_view STARTS = " starts: ";
constexpr std::string_view ENDS = " ends";

// "motion 3 starts: hover" without its first word.
struct mark_t {
    unsigned number = 0;
    std::string_view what;  // behind the number
};

std::optional<mark_t> read_mark(std::string_view text)
{
    if (!text.starts_with(MOTION)) return std::nullopt;
    mark_t mark;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + MOTION.size(), end, mark.number);
    if (error != std::errc()) return std::nullopt;
    mark.what = {stop, static_cast<size_t>(end - stop)};
    return mark;
}

// "step, attitude x, stabilised": the words of a motion, and behind a comma those of a loop.
void read_words(motion_span_t& motion)
{
    const std::string& text = motion.span.text;
    for (uint8_t id = MOTION_HOVER; id <= MOTION_REPEAT; id++) {
        const std::string words = motion_text(id);
        if (text != words && !text.starts_with(words + ", ")) continue;
        motion.motion_id = id;
        for (uint8_t loop = kLoopNull + 1; loop < kLoopNum; loop++) {
            if (text == words + ", " + control_loop_text(loop)) motion.loop = loop;
        }
    }
}

}  // namespace

std::vector<motion_span_t> motions_of(const FlightRecord& record, double end_s)
{
    std::vector<motion_span_t> motions;
    for (const record_marker_t& marker : record.markers) {
        const double seconds = static_cast<double>(marker.time_us) / 1e6;
        const std::optional<mark_t> mark = read_mark(marker.text);
        if (!mark) continue;
        if (mark->what == ENDS) {
            if (!motions.empty() && motions.back().number == mark->number) motions.back().span.end = seconds;
        } else if (mark->what.starts_with(STARTS)) {
            const std::string words(mark->what.substr(STARTS.size()));
            motions.push_back({{seconds, end_s, words}, mark->number, 0, 0});
            read_words(motions.back());
        }
    }
    return motions;
}

}  // namespace peers
