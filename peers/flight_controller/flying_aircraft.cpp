#include "flight_controller/flying_aircraft.h"

#include <utility>

#include "common/clock.h"
#include "flight_v1_wire.h"

namespace peers {
namespace {

constexpr uint32_t TICK_US = 5000;
constexpr uint64_t STEP_US = 1000;
// Never more at once: a machine that was asleep must not fly minutes without hearing its commands.
constexpr uint64_t MAX_STEPS = 500;
constexpr double EARTH_RADIUS = 6378137;  // m

constexpr uint8_t OBEYED = 0;
constexpr uint8_t REFUSED = 1;

fc_event_kind kind_of(aircraft_event kind)
{
    switch (kind) {
        case aircraft_event::mode_changed:
            return fc_event_kind::mode_changed;
        case aircraft_event::took_off:
            return fc_event_kind::took_off;
        case aircraft_event::landed:
            return fc_event_kind::landed;
        case aircraft_event::takeoff_refused:
            return fc_event_kind::takeoff_refused;
        case aircraft_event::sweep_started:
            return fc_event_kind::sweep_started;
        case aircraft_event::sweep_ended:
            return fc_event_kind::sweep_ended;
        case aircraft_event::sticks_lost:
            break;
    }
    return fc_event_kind::sticks_lost;
}

float single(double value)
{
    return static_cast<float>(value);
}

}  // namespace

FlyingAircraft::FlyingAircraft(BusEndpoint& endpoint, BagPublisher& bags, const MotorInterlock& motors,
                               const flight_options_t& options, fc_event_fn happened)
    : endpoint_(endpoint),
      bags_(bags),
      motors_(motors),
      latitude_(options.latitude),
      longitude_(options.longitude),
      happened_(std::move(happened)),
      model_(options.aircraft)
{
    model_.set_observer(options.observer);
    endpoint.on_request(SET_FLIGHT_CONTROLLER, CMD_ID_BASIC_CMD,
                        [this](const kest_event_t& event) { handle_basic_command(event); });
    endpoint.on_request(SET_FLIGHT_CONTROLLER, CMD_ID_MISSION_ONOFF,
                        [this](const kest_event_t& event) { handle_external_control(event); });
    endpoint.on_request(SET_FLIGHT_CONTROLLER, CMD_ID_CTRL_DATA,
                        [this](const kest_event_t& event) { handle_sticks(event); });
    endpoint.on_request(SET_AFQT, CMD_ID_AFQT_MSG, [this](const kest_event_t& event) { handle_test_message(event); });
    publish();
}

kest_result_t FlyingAircraft::start()
{
    {
        const std::lock_guard lock(mutex_);
        flown_until_us_ = now_us();
    }
    return timer_.start("fc_aircraft", TICK_US, [this] { tick(); });
}

void FlyingAircraft::stop()
{
    timer_.stop();
}

motion_t FlyingAircraft::truth() const
{
    const std::lock_guard lock(mutex_);
    return model_.truth();
}

uint8_t FlyingAircraft::mode() const
{
    const std::lock_guard lock(mutex_);
    return model_.mode();
}

flight_counts_t FlyingAircraft::counts() const
{
    const std::lock_guard lock(mutex_);
    return counts_;
}

std::optional<afqt_heart_beat_t> FlyingAircraft::heartbeat() const
{
    const std::lock_guard lock(mutex_);
    return heartbeat_;
}

void FlyingAircraft::handle_basic_command(const kest_event_t& event)
{
    api_basic_cmd_t command = {};
    bool obeyed = false;
    if (read_record(payload_of(event), command)) {
        const bool held = motors_.held();
        const std::lock_guard lock(mutex_);
        commander_ = event.peer_host;
        obeyed = model_.basic_command(command.basic_cmd_id, held);
        (obeyed ? counts_.commands : counts_.commands_ignored)++;
    }
    answer(event, obeyed);
}

void FlyingAircraft::handle_external_control(const kest_event_t& event)
{
    cmd_mission_request_onoff_t request = {};
    bool obeyed = false;
    if (read_record(payload_of(event), request)) {
        const std::lock_guard lock(mutex_);
        commander_ = event.peer_host;
        obeyed = model_.external_control(request.switch_value);
        (obeyed ? counts_.commands : counts_.commands_ignored)++;
    }
    answer(event, obeyed);
}

void FlyingAircraft::handle_sticks(const kest_event_t& event)
{
    const std::optional<stick_command_t> sticks = read_sticks(payload_of(event));
    bool obeyed = false;
    {
        const std::lock_guard lock(mutex_);
        obeyed = sticks && model_.sticks(*sticks);
        (obeyed ? counts_.sticks : counts_.sticks_ignored)++;
    }
    answer(event, obeyed);
}

void FlyingAircraft::handle_test_message(const kest_event_t& event)
{
    const bytes_view payload = payload_of(event);
    afqt_heart_beat_msg_t beat = {};
    bool obeyed = false;
    if (read_record(payload, beat) && beat.msg_id == MSG_ID_HEART_BEAT) {
        const std::lock_guard lock(mutex_);
        heartbeat_ = beat.beat;
        counts_.heartbeats++;
        obeyed = true;
    } else {
        const std::lock_guard lock(mutex_);
        commander_ = event.peer_host;
        obeyed = obey_sweep(payload);
        (obeyed ? counts_.commands : counts_.commands_ignored)++;
    }
    answer(event, obeyed);
}

// With the mutex held.
bool FlyingAircraft::obey_sweep(bytes_view payload)
{
    afqt_sweep_req_t request = {};
    if (!read_record(payload, request) || request.msg_id != MSG_ID_MOTION_CMD) return false;
    return model_.sweep(request.sweep);
}

void FlyingAircraft::answer(const kest_event_t& event, bool obeyed)
{
    endpoint_.reply(event, bytes_of(obeyed ? OBEYED : REFUSED));
    std::vector<aircraft_event_t> events;
    {
        const std::lock_guard lock(mutex_);
        events = model_.take_events();
    }
    tell(events, event.peer_host);
}

uint64_t FlyingAircraft::steps_due()
{
    const uint64_t now = now_us();
    if (now <= flown_until_us_) return 0;
    const uint64_t due = (now - flown_until_us_) / STEP_US;
    flown_until_us_ += due * STEP_US;
    if (due <= MAX_STEPS) return due;
    counts_.skipped_ms += due - MAX_STEPS;
    return MAX_STEPS;
}

void FlyingAircraft::tick()
{
    std::vector<aircraft_event_t> events;
    uint16_t peer = 0;
    {
        const std::lock_guard lock(mutex_);
        for (uint64_t steps = steps_due(); steps > 0; steps--)
            model_.step();
        events = model_.take_events();
        peer = commander_;
        publish();
    }
    tell(events, peer);
}

// With the mutex held. What the model knows nothing of, the fix and the phone, stays as its owner set it.
void FlyingAircraft::publish()
{
    const motion_t& motion = model_.sensed();
    const quat_t& q = motion.attitude;
    bags_.update([&](aircraft_state_t& state) {
        state.latitude = latitude_ + motion.position.x / EARTH_RADIUS;
        state.longitude = longitude_ + motion.position.y / (EARTH_RADIUS * std::cos(latitude_));
        state.altitude = single(model_.altitude());
        state.fsm = static_cast<uint8_t>(model_.state());
        state.display_mode = model_.mode();
        state.velocity = {single(motion.velocity.x), single(motion.velocity.y), single(motion.velocity.z)};
        state.quaternion = {single(q.w), single(q.x), single(q.y), single(q.z)};
    });
}

void FlyingAircraft::tell(const std::vector<aircraft_event_t>& events, uint16_t peer)
{
    if (!happened_) return;
    for (const aircraft_event_t& event : events) {
        fc_event_t what = {kind_of(event.kind), now_us(), peer};
        what.mode = event.mode;
        what.mode_before = event.mode_before;
        what.sweep = event.sweep;
        happened_(what);
    }
}

}  // namespace peers
