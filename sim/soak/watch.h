// What must hold after every event, whatever was asked before: told from what passes on the bus.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "platform/bus.h"

namespace sim {

using bytes_view = std::span<const uint8_t>;

class Watch {
public:
    // A record reaches its receiver.
    void on_received(uint16_t host, const kest_event_t& event);
    // A record is handed to the bus, which may yet refuse it.
    void on_handed_over(const handed_over_t& record, uint64_t now_us);

    // After each event.
    void on_event(uint64_t now_us);

    void on_service_launched(uint64_t now_us);
    void on_service_killed();

    // The service has asked for it and not given it back.
    bool external_control() const { return external_control_; }

    // The first thing that did not hold; empty: everything did.
    const std::string& broken() const { return broken_; }

private:
    struct asked_t {
        uint16_t service;
        uint16_t peer;
        uint32_t msg_id;
        uint16_t seq_id;
        bool wants_reply;
        unsigned replies;
    };

    void check(bool holds, const std::string& what);
    void on_reply(const handed_over_t& reply);
    void on_upgrade_reply(uint32_t msg_id, uint8_t code);
    void on_read_reply(bytes_view payload);
    void on_message(const handed_over_t& message, uint64_t now_us);
    void on_hold_order(bytes_view payload, uint64_t now_us);
    void expect_holding(bool in_upgrade, bool app_asked);
    bool is_hold_expected() const { return in_upgrade_ && app_asked_; }

    std::string broken_;
    std::optional<asked_t> asked_;  // the request that a client of the service works on
    bool in_upgrade_ = false;       // from an accepted entry until a success or a refused first block
    bool app_asked_ = false;        // the last entry, whatever came of it
    uint64_t hold_since_us_ = 0;    // or when the last order to hold went out
    bool external_control_ = false;
    bool test_on_ = false;
};

}  // namespace sim
