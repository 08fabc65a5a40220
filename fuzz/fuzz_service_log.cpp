// The log that the service wrote of a flight test, from anywhere.
#include <algorithm>

#include "afqt_wire.h"
#include "flight_report/service_log.h"
#include "fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view text = text_of({data, size});
    const peers::service_log_t log = peers::service_log_t::parse(text);
    const auto lines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    check(log.states.size() <= lines, "a line tells one state at most");
    for (const peers::service_state_t& one : log.states)
        check(one.state <= kStaErrSta && one.state != 5, "a state that a heartbeat may name");
    for (size_t i = 0; i < log.problems.size(); ++i) {
        check(!log.problems[i].empty(), "a problem has words");
        check(std::count(log.problems.begin(), log.problems.end(), log.problems[i]) == 1, "each problem once");
    }
    return 0;
}
