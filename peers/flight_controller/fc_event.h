// What the flight controller tells its owner as it happens.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/announcement.h"
#include "common/nfz_version.h"
#include "flight_controller/sweep_signal.h"
#include "tfr_wire.h"

namespace peers {

enum class fc_event_kind {
    motor_error_registered,
    motor_error_refused,  // a registration was answered with a refusal
    motor_set_ignored,    // by somebody who is not registered
    motors_held,
    motors_released,
    bags_reset,
    bag_added,
    bag_deleted,
    bag_rate_changed,
    bag_refused,  // unknown items, no rate, or no room
    announcement,
    restriction,  // a restricted area, or that there is none any more
    // Of an aircraft that flies.
    mode_changed,
    took_off,
    landed,           // and the motors are off
    takeoff_refused,  // the motors are held
    sweep_started,
    sweep_ended,  // over, or stopped
    sticks_lost,  // under external control, so it holds its place
};

const char* event_name(fc_event_kind kind);  // for example "motors_held"
const char* mode_name(uint8_t mode);         // of a display mode, for example "landing"

struct fc_event_t {
    fc_event_kind kind;
    uint64_t time_us;  // boot time
    uint16_t peer;     // who caused it
    // Motors: who registered, in its own words, and under which id and code.
    std::string requester = {};
    uint32_t requester_id = 0;
    uint8_t error_code = 0;
    // Bags.
    uint8_t bag = 0;
    uint16_t rate_hz = 0;
    std::vector<uint32_t> items = {};
    // Announcements.
    announcement_t heard = {};
    // Restrictions: place among `places` kept, nearest first; no area when `places` is 0.
    uint8_t place = 0;
    uint8_t places = 0;
    vela_tfr_item_t area = {};
    // Flight: the display mode, the one before it when it changed, and the sweep.
    uint8_t mode = 0;
    uint8_t mode_before = 0;
    sweep_request_t sweep = {};
};

using fc_event_fn = std::function<void(const fc_event_t&)>;

}  // namespace peers
