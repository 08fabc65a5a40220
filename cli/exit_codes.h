// The one list of exit codes; docs/tool.md repeats it for readers, and a test compares the two.
#pragma once

#include <array>

namespace cli {

enum class exit_code : int {
    ok = 0,
    unexpected = 1,
    usage = 2,
    bad_input = 3,
    output = 4,
    unreachable = 5,
    address_in_use = 6,
    configuration = 7,
    refused_older = 8,
    verification = 9,
    far_disk = 10,
    refused_state = 11,
    no_database = 12,
    protocol = 13,
    demo_failed = 14,
    test_failed = 15,
    test_stopped = 16,
    interrupted = 130,
};

struct exit_code_row_t {
    exit_code code;
    const char* name;     // as in --json
    const char* meaning;  // for people
};

inline constexpr std::array EXIT_CODES = {
    exit_code_row_t{exit_code::ok, "ok", "done"},
    exit_code_row_t{exit_code::unexpected, "unexpected", "something failed that none of the others describes"},
    exit_code_row_t{exit_code::usage, "usage", "the command line is wrong"},
    exit_code_row_t{exit_code::bad_input, "bad_input", "an input file is missing, unreadable or not what it should be"},
    exit_code_row_t{exit_code::output, "output", "an output file cannot be written"},
    exit_code_row_t{exit_code::unreachable, "unreachable", "the service is not running, or does not answer"},
    exit_code_row_t{exit_code::address_in_use, "address_in_use", "another process has the bus address"},
    exit_code_row_t{exit_code::configuration, "configuration", "the route configuration or the bus directory is wrong"},
    exit_code_row_t{exit_code::refused_older, "refused_older", "the aircraft has a newer database"},
    exit_code_row_t{exit_code::verification, "verification", "a digest, or a replayed answer, differs"},
    exit_code_row_t{exit_code::far_disk, "far_disk", "the aircraft cannot read or write its disk"},
    exit_code_row_t{exit_code::refused_state, "refused_state", "not now: another transfer is under way, or one failed"},
    exit_code_row_t{exit_code::no_database, "no_database", "the aircraft has no database, or not so much of one"},
    exit_code_row_t{exit_code::protocol, "protocol", "an answer outside the protocol"},
    exit_code_row_t{exit_code::demo_failed, "demo_failed", "a step of the demonstration failed"},
    exit_code_row_t{exit_code::test_failed, "test_failed", "the flight test failed"},
    exit_code_row_t{exit_code::test_stopped, "test_stopped", "the flight test was switched off before its end"},
    exit_code_row_t{exit_code::interrupted, "interrupted", "stopped by a signal"},
};

const char* exit_code_name(exit_code code);

}  // namespace cli
