#include "story.h"

#include <algorithm>
#include <atomic>
#include <cstdio>

#include "afqt_wire.h"
#include "flight_v1_wire.h"
#include "nfz_file/nfz_file.h"
#include "upgrade_wire.h"

// No position is steered for: hover and step send the same frames wherever the aircraft is.
const char* const STORY_LIST = R"({"attribute": {"motion_num": 4},
    "motion0": {"motion_id": "kHover", "para_cfg": {"duration": 2}},
    "motion1": {"motion_id": "kStep", "para_cfg": {"loop_id": 4, "amp": 5, "intervals": 1, "repeat_times": 2}},
    "motion2": {"motion_id": "kSweepChirpZ", "para_cfg": {"start_freq": 1, "end_freq": 5, "duration": 2, "amp": 1,
                                                            "inj_loop": 4}},
    "motion3": {"motion_id": "kHover", "para_cfg": {"duration": 1}}})";

namespace {

std::vector<uint8_t> database()
{
    peers::nfz_recipe_t recipe = {};
    recipe.version = {1, 2, 3, 4};
    recipe.content = peers::generate_nfz_content(recipe.version, 20'000);
    return peers::build_nfz_file(recipe);
}

std::unique_ptr<peers::FlightController> open_controller(const stage_t& stage)
{
    peers::flight_options_t flight;
    flight.latitude = 0.84;
    flight.longitude = 0.2;
    flight.aircraft.noise = true;
    peers::bus_open_error_t error;
    return peers::FlightController::open_flying({stage.routes, "flight_controller", "fmu"}, {}, flight, {}, error);
}

std::string hex(const std::vector<uint8_t>& bytes)
{
    std::string text;
    char digits[3];
    for (const uint8_t byte : bytes) {
        std::snprintf(digits, sizeof digits, "%02x", byte);
        text += digits;
    }
    return text;
}

// Streams whose payloads say where the aircraft is at that moment, or when something was: their records differ from
// flight to flight on the real clock alone, so only that they flow is compared.
bool tells_the_moment(uint32_t msg_id)
{
    return msg_id == (uint32_t{SET_FLIGHT_CONTROLLER} << 16 | ID_DB_BAG_PUSH);
}

// The way home is steered by the position.
bool is_steered(uint32_t msg_id, const std::vector<uint8_t>& payload)
{
    return msg_id == (uint32_t{SET_FLIGHT_CONTROLLER} << 16 | CMD_ID_CTRL_DATA) && !payload.empty() &&
           payload[0] >> CTRL_FLAG_HORIZ_MODE_SHIFT == HORIZ_MODE_POS;
}

// The first order to hold leaves right behind the registration. Which of the two the answer overtakes is a matter of
// preemption: with it the order names the requester, without it nobody, and is refused.
bool is_unregistered(uint32_t msg_id, const std::vector<uint8_t>& payload)
{
    if (msg_id != (uint32_t{SET_FLIGHT_CONTROLLER} << 16 | ID_SET_MOTOR_ERR)) return false;
    if (payload.size() == 1) return payload[0] != 0;
    return std::all_of(payload.begin() + 1, payload.begin() + 5, [](uint8_t byte) { return byte == 0; });
}

// The heartbeat says error on the one tick between landed and idle: one flight in fifty has a beat just then.
bool is_the_odd_beat(uint32_t msg_id, const std::vector<uint8_t>& payload)
{
    return msg_id == (uint32_t{SET_AFQT} << 16 | CMD_ID_AFQT_MSG) && payload.size() > 1 &&
           payload[0] == MSG_ID_HEART_BEAT && payload[1] == kStaErrSta;
}

}  // namespace

std::string tell_upgrade(const stage_t& stage)
{
    std::atomic<bool> ended = false;  // on the bus callbacks run on other threads, until the peers are gone
    const auto controller = open_controller(stage);
    peers::bus_open_error_t error;
    const auto app = peers::AppPeer::open({stage.routes, "app", "phone"}, {}, error);
    if (!controller || !app) return "the peers cannot be opened";
    stage.launch();
    if (!stage.until([&] { return controller->bags().counts().pushed > 0; })) return "the service does not subscribe";
    peers::upgrade_job_t job;
    job.database = database();
    job.options.bytes_per_second = 10'000;  // so that some of the service's ticks fall into it
    job.done = [&ended](const peers::upgrade_result_t& result) {
        ended = result.outcome == peers::transfer_outcome::done;
    };
    app->upgrade().begin(std::move(job));
    if (!stage.until([&] { return ended.load(); })) return "the upgrade does not succeed";
    if (!stage.until([&] { return !controller->motors().held() && controller->motors().counts().releases > 0; }))
        return "the motors stay held";
    std::vector<uint8_t> read;
    while (read.size() < database().size()) {
        std::atomic<bool> answered = false;
        peers::read_job_t range;
        range.offset = static_cast<uint32_t>(read.size());
        range.length = static_cast<uint32_t>(std::min<size_t>(PROFILE_MAX_READ, database().size() - read.size()));
        range.done = [&](const peers::read_result_t& result) {
            read.insert(read.end(), result.data.begin(), result.data.end());
            answered = true;
        };
        controller->reader().begin(std::move(range));
        if (!stage.until([&] { return answered.load(); })) return "the database is not served";
    }
    return read == database() ? "" : "what is read back differs";
}

std::string tell_flight(const stage_t& stage)
{
    const auto controller = open_controller(stage);
    uint8_t state = kStaMotionIdel;
    std::atomic<bool> landed = false;
    peers::bus_open_error_t error;
    const auto station =
        peers::TestStation::open({stage.routes, "factory", "station"},
                                 {[&](uint16_t, const afqt_heart_beat_t& beat) {
                                      landed = landed || (state == kStaLanding && beat.afqt_state == kStaMotionIdel);
                                      if (beat.afqt_state != kStaErrSta) state = beat.afqt_state;
                                  },
                                  {}},
                                 error);
    if (!controller || !station) return "the peers cannot be opened";
    stage.launch();
    if (!stage.until([&] { return controller->bags().counts().pushed > 0; })) return "the service does not subscribe";
    station->switch_on(0);
    return stage.until([&] { return landed.load(); }) ? "" : "the flight does not end";
}

void Streams::add(const tarn_tap_head_t& head, uint32_t msg_id, uint16_t attrib, const std::vector<uint8_t>& payload)
{
    if (is_steered(msg_id, payload) || is_the_odd_beat(msg_id, payload) || is_unregistered(msg_id, payload)) return;
    char name[96];
    std::snprintf(name, sizeof name, "%s %04x>%04x %06x attrib %04x", head.direction == 0 ? "sent" : "received",
                  head.from, head.to, msg_id, attrib);
    auto& stream = streams_[name];
    const std::string text = tells_the_moment(msg_id) ? std::to_string(payload.size()) + " bytes" : hex(payload);
    if (stream.empty() || stream.back() != text) stream.push_back(text);
}

std::string Streams::text() const
{
    std::string all;
    for (const auto& [name, stream] : streams_) {
        all += name + "\n";
        for (const std::string& payload : stream)
            all += "  " + payload + "\n";
    }
    return all;
}
