// How a factory flight goes, told from the heartbeats and notices that the service sends to the station: pure, so that
// a test or a replay can drive it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "afqt_wire.h"

namespace peers {

enum class test_outcome {
    running,
    finished,     // the whole list was flown and the aircraft landed
    stopped,      // it was switched off before its end
    failed,       // the service gave up
    not_started,  // heartbeats come, but the test stays idle
    silent,       // heartbeats stopped, or never came
};

const char* outcome_name(test_outcome outcome);  // for example "not_started"

// The words for a heartbeat's codes.
const char* test_state_text(uint8_t state);   // for example "asks for take-off"
const char* test_error_text(uint8_t code);    // for example "the motion list does not parse"
const char* motion_text(uint8_t id);          // for example "step"
const char* control_loop_text(uint8_t loop);  // for example "attitude x"; empty for none

// What can have gone wrong in that state: the heartbeat does not carry the runner's own errors.
const char* failure_text(uint8_t state);

struct test_report_t {
    test_outcome outcome = test_outcome::running;
    std::string what;  // one sentence; empty while it runs
    std::string next;  // what to do; may be empty
    uint8_t error = ERROR_NONE;
    afqt_heart_beat_t beat = {};  // the last one
    bool beat_seen = false;
    bool list_flown = false;  // the notice came: the list was flown
    uint64_t beats = 0;
};

class TestWatch {
public:
    // Boot time of the command, and which list it named; none: it is not known, and any will do.
    TestWatch(uint64_t start_us, std::optional<uint8_t> file_index)
        : start_us_(start_us), heard_us_(start_us), index_(file_index)
    {
    }

    // True when the heartbeat tells something new: state, motion or error.
    bool on_heartbeat(const afqt_heart_beat_t& beat, uint64_t now_us);
    void on_notice(const afqt_on_off_cmd_t& notice);

    // Time passes. Three seconds without a start, or five without a heartbeat, end the watch.
    void on_time(uint64_t now_us);

    const test_report_t& report() const { return report_; }

private:
    void on_idle(uint64_t now_us);
    void on_error_state();
    void end(test_outcome outcome, const std::string& what, const std::string& next);

    const uint64_t start_us_;
    uint64_t heard_us_;
    const std::optional<uint8_t> index_;
    bool under_way_ = false;
    uint8_t last_flown_state_ = kStaMotionIdel;  // before the error state
    uint32_t error_beats_ = 0;
    test_report_t report_;
};

}  // namespace peers
