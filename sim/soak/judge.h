// What upgrades, range reads and deliveries are answered and leave on the disk, held against the models.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/service_model.h"
#include "platform/bus.h"

namespace sim {

// From before the first launch, on a disk without database and areas. The models know of no fault of the disk.
class Judge {
public:
    void on_service_launched();
    void on_service_killed() { asked_.reset(); }

    // A record reaches its receiver.
    void on_received(uint16_t host, const kest_event_t& event, uint64_t now_us);
    // A record is handed to the bus, which may yet refuse it.
    void on_handed_over(const handed_over_t& record);
    // The service logs a line; `text` is its own part of it.
    void on_log_line(std::string_view text, uint64_t now_us);
    // After each event.
    void on_event(uint64_t now_us);

    // The app is about to send it.
    void expect_database(const bytes_t& database) { databases_.push_back(database); }

    // The first thing that did not hold; empty: everything did.
    const std::string& broken() const { return broken_; }

private:
    struct asked_t {
        uint16_t service;
        uint32_t msg_id;
        uint16_t seq_id;
        bool waits;      // for a reply
        bytes_t answer;  // that the models give
    };

    void check(bool holds, const std::string& what);
    void check_reply(const handed_over_t& reply);
    void check_replied();
    void check_silence(uint64_t now_us);
    void check_files();
    void check_file(const char* path, const bytes_t& wanted);

    std::string broken_;
    ServiceModel model_;
    std::optional<asked_t> asked_;   // the request that a client of the service works on
    uint64_t upgrade_asked_us_ = 0;  // the last request of an upgrade
    bool files_are_due_ = false;     // to be looked at after this event
    std::vector<bytes_t> databases_;
};

}  // namespace sim
