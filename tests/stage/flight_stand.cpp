#include "flight_stand.h"

#include "common/clock.h"

using peers::test_outcome;

FlightStand::FlightStand(World& world, const aircraft_t& aircraft) : world_(world)
{
    world_.peer(STATION, [this](peers::BusEndpoint& endpoint) {
        for (const uint8_t id : {CMD_ID_AFQT_MSG, CMD_ID_AFQT_CMD})
            endpoint.on_request(SET_AFQT, id, [this](const kest_event_t& event) { hears(event); });
    });
    world_.controller_flies(aircraft);
    write_file("/tmp/EMMC/AFQT_ENABLE.txt", {});
    write_file("/tmp/SD0/factory_test/afqt/latest", {'7'});
    write_list(list_of({hover(1)}));
}

void FlightStand::launch()
{
    world_.launch();
    const uint64_t before = pushed();
    if (!world_.until([&] { return pushed() > before + 10; }, 15 * SECOND_US))
        throw broken_t("the service does not subscribe");
}

void FlightStand::write_list(const std::string& text, uint8_t index)
{
    write_file("/tmp/SD0/factory_test/afqt_motion_cfg_" + std::to_string(index) + ".json",
               bytes_t(text.begin(), text.end()));
}

void FlightStand::hears(const kest_event_t& event)
{
    const peers::bytes_view payload = peers::payload_of(event);
    const std::lock_guard lock(mutex_);
    afqt_on_off_cmd_t notice = {};
    if (event.msg_id == (uint32_t{SET_AFQT} << 16 | CMD_ID_AFQT_CMD)) {
        if (peers::read_record(payload, notice) && watch_) watch_->on_notice(notice);
        return;
    }
    afqt_heart_beat_msg_t message = {};
    if (!peers::read_record(payload, message) || message.msg_id != MSG_ID_HEART_BEAT) return;
    if (states_.back() != message.beat.afqt_state) states_.push_back(message.beat.afqt_state);
    if (watch_) watch_->on_heartbeat(message.beat, peers::now_us());
}

void FlightStand::switches(uint8_t value, uint8_t index)
{
    {
        const std::lock_guard lock(mutex_);
        states_ = {states_.back()};
        if (value == kAfqtOn) watch_.emplace(peers::now_us(), index);
    }
    sends({value, 0, index});
}

void FlightStand::sends(const bytes_t& payload)
{
    world_.peer(STATION).send(HOST_FLIGHT_SERVICE, SET_AFQT, CMD_ID_AFQT_CMD, payload);
}

uint8_t FlightStand::state()
{
    const std::lock_guard lock(mutex_);
    return states_.back();
}

std::vector<uint8_t> FlightStand::states()
{
    const std::lock_guard lock(mutex_);
    return states_;
}

bool FlightStand::reaches(uint8_t wanted, uint64_t limit_us)
{
    return world_.until([&] { return state() == wanted; }, limit_us);
}

test_outcome FlightStand::outcome()
{
    const std::lock_guard lock(mutex_);
    watch_->on_time(peers::now_us());
    return watch_->report().outcome;
}

test_outcome FlightStand::flies(uint8_t index)
{
    switches(kAfqtOn, index);
    return end_of_flight();
}

test_outcome FlightStand::end_of_flight(uint64_t limit_us)
{
    world_.until([this] { return outcome() != test_outcome::running; }, limit_us);
    return outcome();
}

void FlightStand::is_switched_off()
{
    switches(kAfqtOff);
    world_.pass(1'500'000);  // heartbeats come once a second
    if (!reaches(kStaMotionIdel, 10 * SECOND_US)) throw broken_t("it does not come back to idle");
}

void FlightStand::is_landed_by_hand()
{
    const auto landed = [this] {
        if (!in_air()) return true;
        world_.peer(STATION).send(FMU.host, SET_FLIGHT_CONTROLLER, CMD_ID_BASIC_CMD, bytes_t{API_CMD_AUTO_LANDING});
        world_.pass(20'000);
        return false;
    };
    if (!world_.until(landed, 200 * SECOND_US)) throw broken_t("it cannot be landed");
    world_.pass(3 * SECOND_US);
}

size_t FlightStand::mode_requests(uint8_t value) const
{
    const auto asks = [value](const seen_t& seen) {
        return seen.head.from == HOST_FLIGHT_SERVICE && seen.set == SET_FLIGHT_CONTROLLER &&
               seen.id == CMD_ID_MISSION_ONOFF && seen.payload[0] == value;
    };
    return world_.sent(asks).size();
}

void FlightStand::expect_no_commands(uint64_t us, const std::string& when)
{
    world_.forget();
    world_.pass(us);
    if (count(CMD_ID_CTRL_DATA) + count(CMD_ID_MISSION_ONOFF) + count(CMD_ID_BASIC_CMD) != 0)
        throw broken_t("it commands the aircraft " + when);
}
