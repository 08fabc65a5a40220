// Motor errors that other devices register with the flight controller: while one of them is set, the motors are held.
// A requester that is silent for the link time-out of its registration is taken for dead, and its error is dropped.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "common/bus_endpoint.h"
#include "flight_controller/fc_event.h"
#include "upgrade_wire.h"

namespace peers {

struct motor_change_t {
    uint64_t time_us;  // boot time
    bool held;
};

struct motor_counts_t {
    uint32_t registrations = 0;  // accepted, repeated ones included
    uint32_t holds = 0;          // set requests with status 1 that were obeyed
    uint32_t releases = 0;       // with status 0
    uint32_t ignored = 0;        // from requesters that are not registered
};

class MotorInterlock {
public:
    static constexpr size_t MAX_REQUESTERS = 11;  // as many as one set request can name

    // Registers with `endpoint`, which must not be started yet. `happened` runs on the endpoint's task.
    MotorInterlock(BusEndpoint& endpoint, fc_event_fn happened);
    MotorInterlock(const MotorInterlock&) = delete;
    MotorInterlock& operator=(const MotorInterlock&) = delete;

    // How registrations are answered from now on: 0 accepted (the default), another code refused, none: not at all.
    void set_registration_answer(std::optional<uint8_t> code);

    // Any thread.
    bool held() const;
    motor_counts_t counts() const;
    std::vector<motor_change_t> changes() const;  // each change from released to held or back

private:
    struct requester_t {
        uint16_t host;
        uint8_t identity;
        uint32_t id;
        uint8_t code;
        std::string name;
        bool set;
        uint64_t timeout_us;    // 0: none
        uint64_t heard_us = 0;  // its last order
    };

    void handle_register(const kest_event_t& event);
    vela_fc_set_register_motor_ext_err_rsp admit(const kest_event_t& event,
                                                 const vela_fc_set_register_motor_ext_err_req& request,
                                                 fc_event_t& what);
    requester_t* requester_of(uint16_t host, uint8_t identity);
    void handle_set(const kest_event_t& event);
    void obey(const vela_fc_set_set_motor_ext_err_req& request, fc_event_t& what);
    void note_change(bool before, fc_event_t& what);
    bool held_now() const;
    void watch_links();
    void drop_the_silent();
    static void drop(requester_t& requester, fc_event_t& what);

    BusEndpoint& endpoint_;
    const fc_event_fn happened_;
    mutable std::mutex mutex_;
    // Everything below is guarded by the mutex.
    std::optional<uint8_t> registration_answer_ = 0;
    std::vector<requester_t> requesters_;
    motor_counts_t counts_;
    std::vector<motor_change_t> changes_;
    bool watching_ = false;  // drop_the_silent() will be called
};

}  // namespace peers
