#include "flight_report/service_log.h"

#include <algorithm>
#include <charconv>

#include "afqt_wire.h"
#include "factory/test_watch.h"

namespace peers {
namespace {

// The runner's states by its own number, as its log names them.
constexpr uint8_t RUNNER_STATES[] = {kStaTakeoff,       kStaTakeoff, kStaReqApi,  kStaMotionListRun,
                                     kStaMotionListRun, kStaRtl,     kStaLanding, kStaMotionIdel};
constexpr unsigned RUNNER_LIST = 4;
constexpr unsigned RUNNER_ERROR = 0;  // the event of every state that ends in the error state
constexpr unsigned MAIN_RUNS = 1;
constexpr unsigned MAIN_SWITCHED_OFF = 0;

struct problem_t {
    const char* phrase;  // in the log
    uint8_t code;
};

constexpr problem_t PROBLEMS[] = {
    {"can't find latest", GET_FC_LOG_FAIL},  {"FC Latest open error", GET_FC_LOG_FAIL},
    {"can't find fly log", GET_FC_LOG_FAIL}, {"creat afqt tag file failed", CREATE_TAGFILE_FAIL},
    {"motion init fail", MOTION_INIT_FAIL},
};

struct event_t {
    unsigned state;
    unsigned event;
};

// What stands between brackets at the front of the text, which loses it; none when it is no number.
template <class Number>
std::optional<Number> take_number(std::string_view& text)
{
    if (!text.starts_with('[')) return std::nullopt;
    const size_t begin = text.find_first_not_of(' ', 1);
    const size_t end = text.find(']');
    if (begin >= end || end == std::string_view::npos) return std::nullopt;
    Number number = {};
    const auto [stop, error] = std::from_chars(text.data() + begin, text.data() + end, number);
    if (error != std::errc() || stop != text.data() + end) return std::nullopt;
    text.remove_prefix(end + 1);
    return number;
}

// "…[machine][state][event]event trig": the machine left the state by that event.
std::optional<event_t> event_of(std::string_view line, const std::string& machine)
{
    const std::string name = "[" + machine + "]";
    const size_t at = line.find(name);
    if (at == std::string_view::npos) return std::nullopt;
    line.remove_prefix(at + name.size());
    const auto state = take_number<unsigned>(line);
    const auto event = take_number<unsigned>(line);
    if (!state || !event || !line.starts_with("event trig")) return std::nullopt;
    return event_t{*state, *event};
}

bool says(std::string_view line, std::string_view phrase)
{
    return line.find(phrase) != std::string_view::npos;
}

class Reader {
public:
    void take(std::string_view line)
    {
        const auto seconds = take_number<double>(line);
        if (!seconds) return;
        if (says(line, "get afqt start cmd: 1")) log = {};
        if (says(line, "event_in_air,")) log.airborne_s = seconds;
        if (says(line, "[JSON]file open error")) add_problem("the motion list is missing, and the service ended");
        for (const problem_t& problem : PROBLEMS) {
            if (says(line, problem.phrase)) add_problem(test_error_text(problem.code));
        }
        if (const auto event = event_of(line, "sta_mach_run_motion")) take_runner(*event, *seconds);
        const auto main = event_of(line, "afqt_main");
        if (main && main->state == MAIN_RUNS && main->event == MAIN_SWITCHED_OFF) log.switched_off = true;
    }

    service_log_t log;

private:
    void take_runner(const event_t& event, double seconds)
    {
        if (event.state >= std::size(RUNNER_STATES)) return;
        if (event.event == RUNNER_ERROR) {
            log.failed_in = RUNNER_STATES[event.state];
            log.states.push_back({seconds, kStaErrSta});
            return;
        }
        if (event.state == RUNNER_LIST) log.list_done = true;
        // The state that only loads the next motion is entered and left within the list.
        const unsigned next = event.state + 1 == RUNNER_LIST - 1 ? RUNNER_LIST : event.state + 1;
        if (next < std::size(RUNNER_STATES)) log.states.push_back({seconds, RUNNER_STATES[next]});
    }

    void add_problem(const std::string& text)
    {
        if (std::find(log.problems.begin(), log.problems.end(), text) == log.problems.end())
            log.problems.push_back(text);
    }
};

}  // namespace

service_log_t service_log_t::parse(std::string_view text)
{
    Reader reader;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        reader.take(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return reader.log;
}

}  // namespace peers
