#include "factory/test_watch.h"

#include <cstring>

namespace peers {
namespace {

constexpr uint64_t START_PATIENCE_US = 3'000'000;
constexpr uint64_t BEAT_PATIENCE_US = 5'000'000;

// The runner shows its error state also for the one tick after a landing; a real error stays.
constexpr uint32_t ERROR_BEATS = 2;

}  // namespace

const char* outcome_name(test_outcome outcome)
{
    switch (outcome) {
        case test_outcome::running:
            return "running";
        case test_outcome::finished:
            return "finished";
        case test_outcome::stopped:
            return "stopped";
        case test_outcome::failed:
            return "failed";
        case test_outcome::not_started:
            return "not_started";
        case test_outcome::silent:
            return "silent";
    }
    return "unknown";
}

const char* test_state_text(uint8_t state)
{
    switch (state) {
        case kStaMotionIdel:
            return "idle";
        case kStaTakeoff:
            return "takes off";
        case kStaReqApi:
            return "asks for external control";
        case kStaMotionListRun:
            return "flies the list";
        case kStaRtl:
            return "returns to its start";
        case kStaLanding:
            return "lands";
        case kStaReloadMotionList:
            return "loads the list";
        case kStaUploadFlightData:
            return "uploads";
        case kStaErrSta:
            return "error";
        default:
            return "unknown state";
    }
}

const char* test_error_text(uint8_t code)
{
    switch (code) {
        case ERROR_NONE:
            return "no error";
        case CFG_TABLE_EMPTY:
            return "the motion list is empty";
        case WRONR_STATE:
            return "wrong state";
        case INIT_MOTION_INVALID:
            return "the first motion is not valid";
        case INIT_CURR_MOTION_NULL:
            return "the list begins with a repeat";
        case CANNOT_REQ_TAKEOFF:
            return "the flight controller does not take off";
        case TAKEOFF_FAIL:
            return "the take-off did not reach the air";
        case REQ_API_TIMEOUT:
            return "no external control";
        case GET_FC_LOG_FAIL:
            return "the flight log's index is missing";
        case CREATE_TAGFILE_FAIL:
            return "the tag file cannot be written";
        case PARSE_MOTIONLIST_FAIL:
            return "the motion list does not parse";
        case MOTION_NUM_OVERRANGE:
            return "too many motions";
        case MOTION_INIT_FAIL:
            return "a motion could not begin";
        case MOTION_CFG_FAIL:
            return "a motion is not valid";
        default:
            return "unknown error";
    }
}

const char* failure_text(uint8_t state)
{
    switch (state) {
        case kStaTakeoff:
            return "the list was refused, or the aircraft did not take off";
        case kStaReqApi:
            return "the flight controller did not grant external control";
        case kStaMotionListRun:
            return "a motion of the list was refused";
        default:
            return "the service gave up";
    }
}

const char* motion_text(uint8_t id)
{
    switch (id) {
        case NONE:
            return "none";
        case MOTION_HOVER:
            return "hover";
        case MOTION_STEP:
            return "step";
        case MOTION_SWEEP:
            return "sweep";
        case MOTION_LINE:
            return "line";
        case MOTION_RTL:
            return "return to launch";
        case MOTION_REPEAT:
            return "repeat";
        default:
            return "unknown motion";
    }
}

const char* control_loop_text(uint8_t loop)
{
    static constexpr const char* NAMES[kLoopNum] = {"",
                                                    "rate x",
                                                    "rate y",
                                                    "rate z",
                                                    "attitude x",
                                                    "attitude y",
                                                    "yaw",
                                                    "velocity x",
                                                    "velocity y",
                                                    "position x",
                                                    "position y",
                                                    "climb acceleration",
                                                    "climb rate",
                                                    "height",
                                                    "tilt attitude",
                                                    "tilt velocity",
                                                    "tilt position",
                                                    "attitude x, stabilised",
                                                    "attitude y, stabilised"};
    return loop < kLoopNum ? NAMES[loop] : "unknown loop";
}

bool TestWatch::on_heartbeat(const afqt_heart_beat_t& beat, uint64_t now_us)
{
    if (report_.outcome != test_outcome::running) return false;
    const bool news = !report_.beat_seen || std::memcmp(&beat, &report_.beat, sizeof beat) != 0;
    heard_us_ = now_us;
    report_.beat = beat;
    report_.beat_seen = true;
    ++report_.beats;
    if (beat.err_code != ERROR_NONE) report_.error = beat.err_code;
    error_beats_ = beat.afqt_state == kStaErrSta ? error_beats_ + 1 : 0;
    if (beat.afqt_state == kStaMotionIdel) {
        on_idle(now_us);
        return news;
    }
    under_way_ = true;
    if (beat.afqt_state == kStaErrSta)
        on_error_state();
    else
        last_flown_state_ = beat.afqt_state;
    return news;
}

void TestWatch::on_idle(uint64_t now_us)
{
    if (report_.list_flown) {
        end(test_outcome::finished, "the list was flown and the aircraft landed", "");
    } else if (under_way_) {
        end(test_outcome::stopped, "the test was switched off before its end", "");
    } else if (now_us > start_us_ && now_us - start_us_ > START_PATIENCE_US) {
        end(test_outcome::not_started, "the service stays idle", "Is another station switching it off?");
    }
}

void TestWatch::on_error_state()
{
    if (error_beats_ < ERROR_BEATS || report_.list_flown) return;
    end(test_outcome::failed, failure_text(last_flown_state_),
        "`vela afqt log` shows the service's log. Switch the test off before the next one: `vela afqt stop`.");
}

void TestWatch::on_notice(const afqt_on_off_cmd_t& notice)
{
    const bool ours = !index_ || notice.file_index == *index_;
    if (notice.switch_state == kAfqtDone && ours && under_way_) report_.list_flown = true;
}

void TestWatch::on_time(uint64_t now_us)
{
    if (report_.outcome != test_outcome::running || now_us < heard_us_ || now_us - heard_us_ < BEAT_PATIENCE_US) return;
    if (!report_.beat_seen) {
        end(test_outcome::silent, "no heartbeat came",
            "Is the flight test enabled on the aircraft (/tmp/EMMC/AFQT_ENABLE.txt before the service starts)?");
        return;
    }
    end(test_outcome::silent, "the heartbeats stopped",
        "A missing motion list ends the service: look for afqt_motion_cfg_" + (index_ ? std::to_string(*index_) : "N") +
            ".json in /tmp/SD0/factory_test, and restart the service.");
}

void TestWatch::end(test_outcome outcome, const std::string& what, const std::string& next)
{
    report_.outcome = outcome;
    report_.what = what;
    report_.next = next;
}

}  // namespace peers
