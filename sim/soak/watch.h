// What must hold after every event of a soak run, told from what passes on the bus and from the files on the disk.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "model/service_model.h"
#include "platform/bus.h"

namespace sim {

using bytes_view = std::span<const uint8_t>;

class Watch {
public:
    // Before the first launch, on a disk without database and areas: from now on answers and files are held against the
    // models, which know of no fault of the disk. Who does without has models of his own.
    void judges_by_models() { model_.emplace(); }

    // A record reaches its receiver. The time is for the models' sake.
    void on_received(uint16_t host, const kest_event_t& event, uint64_t now_us = 0);
    // A record is handed to the bus, which may yet refuse it.
    void on_handed_over(const handed_over_t& record, uint64_t now_us);

    // The service logs a line; `text` is its own part of it.
    void on_log_line(std::string_view text, uint64_t now_us);

    // After each event.
    void on_event(uint64_t now_us);
    // The same without the models and the files.
    void on_event_but_files(uint64_t now_us);

    // The app is about to send it.
    void expect_database(const bytes_t& database) { databases_.push_back(database); }
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
        std::optional<bytes_t> answer;  // that the models give
    };

    void check(bool holds, const std::string& what);
    void ask_models(const kest_event_t& request, uint64_t now_us);
    void on_reply(const handed_over_t& reply);
    void expect_reply();
    void check_answer(uint32_t msg_id, bytes_view found, bytes_view wanted);
    void on_upgrade_reply(uint32_t msg_id, uint8_t code);
    void on_read_reply(bytes_view payload);
    void on_message(const handed_over_t& message, uint64_t now_us);
    void on_hold_order(bytes_view payload, uint64_t now_us);
    bool is_a_database() const;
    void check_by_models(uint64_t now_us);
    void check_files();
    void check_file(const char* path, const bytes_t& wanted);
    void check_silence(uint64_t now_us);
    void expect_holding(bool in_upgrade, bool app_asked);
    bool is_hold_expected() const { return in_upgrade_ && app_asked_; }
    void check_hold(uint64_t now_us);

    std::string broken_;
    std::optional<ServiceModel> model_;
    uint64_t upgrade_asked_us_ = 0;  // the last request of an upgrade
    bool files_are_due_ = false;     // to be held against the models after this event
    std::vector<bytes_t> databases_;
    std::optional<asked_t> asked_;  // the request that a client of the service works on
    bool in_upgrade_ = false;       // from an accepted entry until a success or a refused first block
    bool app_asked_ = false;        // the last entry, whatever came of it
    uint64_t hold_since_us_ = 0;    // or when the last order to hold went out
    bool external_control_ = false;
    bool test_on_ = false;
};

}  // namespace sim
