#include "flight_controller/motor_interlock.h"

#include <algorithm>
#include <utility>

#include "common/clock.h"
#include "flight_v1_wire.h"

namespace peers {
namespace {

constexpr uint64_t LINK_LOOK_US = 500'000;
constexpr uint8_t ACCEPTED = 0;
constexpr uint8_t REFUSED = 1;
constexpr uint32_t FIRST_REQUESTER_ID = 0x1001;
constexpr uint8_t FIRST_ERROR_CODE = 0x21;

}  // namespace

MotorInterlock::MotorInterlock(BusEndpoint& endpoint, fc_event_fn happened)
    : endpoint_(endpoint), happened_(std::move(happened))
{
    endpoint.on_request(SET_FLIGHT_CONTROLLER, ID_REGISTER_MOTOR_ERR,
                        [this](const kest_event_t& event) { handle_register(event); });
    endpoint.on_request(SET_FLIGHT_CONTROLLER, ID_SET_MOTOR_ERR,
                        [this](const kest_event_t& event) { handle_set(event); });
}

void MotorInterlock::set_registration_answer(std::optional<uint8_t> code)
{
    const std::lock_guard lock(mutex_);
    registration_answer_ = code;
}

bool MotorInterlock::held() const
{
    const std::lock_guard lock(mutex_);
    return held_now();
}

bool MotorInterlock::held_now() const
{
    return std::any_of(requesters_.begin(), requesters_.end(), [](const requester_t& one) { return one.set; });
}

motor_counts_t MotorInterlock::counts() const
{
    const std::lock_guard lock(mutex_);
    return counts_;
}

std::vector<motor_change_t> MotorInterlock::changes() const
{
    const std::lock_guard lock(mutex_);
    return changes_;
}

void MotorInterlock::handle_register(const kest_event_t& event)
{
    vela_fc_set_register_motor_ext_err_req request;
    if (!read_record(payload_of(event), request)) {
        endpoint_.reply(event, bytes_of(REFUSED));
        return;
    }
    fc_event_t what = {fc_event_kind::motor_error_registered, now_us(), event.peer_host};
    vela_fc_set_register_motor_ext_err_rsp answer;
    {
        const std::lock_guard lock(mutex_);
        if (!registration_answer_) return;
        answer = admit(event, request, what);
    }
    endpoint_.reply(event, bytes_of(answer));
    if (happened_) happened_(what);
}

// The same device gets the same id and code however often it asks: it asks again when an answer was lost.
vela_fc_set_register_motor_ext_err_rsp MotorInterlock::admit(const kest_event_t& event,
                                                             const vela_fc_set_register_motor_ext_err_req& request,
                                                             fc_event_t& what)
{
    vela_fc_set_register_motor_ext_err_rsp answer = {*registration_answer_, 0, request.identity_id, 0, 0};
    what.requester.assign(request.err_description, strnlen(request.err_description, sizeof request.err_description));
    requester_t* requester = requester_of(event.peer_host, request.identity_id);
    if (answer.result == ACCEPTED && requester == nullptr) {
        if (requesters_.size() == MAX_REQUESTERS) {
            answer.result = REFUSED;
        } else {
            const auto number = static_cast<uint8_t>(requesters_.size());
            requesters_.push_back({event.peer_host, request.identity_id, FIRST_REQUESTER_ID + number,
                                   static_cast<uint8_t>(FIRST_ERROR_CODE + number), what.requester, false,
                                   request.link_timeout * 1000ull});
            requester = &requesters_.back();
        }
    }
    answer.surplus_usable_ext_err_num = static_cast<uint8_t>(MAX_REQUESTERS - requesters_.size());
    if (answer.result != ACCEPTED) {
        what.kind = fc_event_kind::motor_error_refused;
        return answer;
    }
    counts_.registrations++;
    what.requester_id = answer.requester_id = requester->id;
    what.error_code = answer.motor_ext_err_code = requester->code;
    return answer;
}

MotorInterlock::requester_t* MotorInterlock::requester_of(uint16_t host, uint8_t identity)
{
    const auto found = std::find_if(requesters_.begin(), requesters_.end(), [&](const requester_t& one) {
        return one.host == host && one.identity == identity;
    });
    return found == requesters_.end() ? nullptr : &*found;
}

void MotorInterlock::handle_set(const kest_event_t& event)
{
    vela_fc_set_set_motor_ext_err_req request;
    const bool readable = read_record(payload_of(event), request);
    fc_event_t what = {fc_event_kind::motor_set_ignored, now_us(), event.peer_host};
    bool changed = false;
    if (readable) {
        const std::lock_guard lock(mutex_);
        const size_t changes = changes_.size();
        obey(request, what);
        changed = changes_.size() != changes;
    }
    const bool ignored = what.kind == fc_event_kind::motor_set_ignored;
    endpoint_.reply(event, bytes_of(ignored ? REFUSED : ACCEPTED));
    if (happened_ && readable && (ignored || changed)) happened_(what);
}

// Errors that nobody registered are not set: they could never be cleared again.
void MotorInterlock::obey(const vela_fc_set_set_motor_ext_err_req& request, fc_event_t& what)
{
    const bool before = held_now();
    const size_t used = std::min<size_t>(request.motor_ext_err_num, std::size(request.motor_ext_err_status));
    bool obeyed = false;
    for (requester_t& requester : requesters_) {
        for (size_t i = 0; i < used && requester.id == request.requester_id; i++) {
            const vela_motor_ext_err_status& status = request.motor_ext_err_status[i];
            if (status.motor_ext_err_code != requester.code) continue;
            requester.set = status.status_to_set != MOTOR_ENABLE;
            requester.heard_us = what.time_us;
            if (requester.set) watch_links();
            obeyed = true;
            what.requester = requester.name;
            what.requester_id = requester.id;
            what.error_code = requester.code;
            (requester.set ? counts_.holds : counts_.releases)++;
        }
    }
    if (!obeyed) {
        counts_.ignored++;
        return;
    }
    note_change(before, what);
}

// With the mutex held. Looks again until no error is set.
void MotorInterlock::watch_links()
{
    if (watching_) return;
    watching_ = endpoint_.call_later(LINK_LOOK_US, [this] { drop_the_silent(); }) == 0;
}

void MotorInterlock::drop_the_silent()
{
    fc_event_t what = {fc_event_kind::motors_released, now_us(), 0};
    bool changed = false;
    {
        const std::lock_guard lock(mutex_);
        watching_ = false;
        const bool before = held_now();
        for (requester_t& requester : requesters_) {
            const bool silent = what.time_us - requester.heard_us > requester.timeout_us;
            if (requester.set && requester.timeout_us != 0 && silent) drop(requester, what);
        }
        changed = before && !held_now();
        if (changed) note_change(before, what);
        if (held_now()) watch_links();
    }
    if (happened_ && changed) happened_(what);
}

void MotorInterlock::drop(requester_t& requester, fc_event_t& what)
{
    requester.set = false;
    what.peer = requester.host;
    what.requester = requester.name;
    what.requester_id = requester.id;
    what.error_code = requester.code;
}

void MotorInterlock::note_change(bool before, fc_event_t& what)
{
    const bool after = held_now();
    what.kind = after ? fc_event_kind::motors_held : fc_event_kind::motors_released;
    if (before != after) changes_.push_back({what.time_us, after});
}

}  // namespace peers
