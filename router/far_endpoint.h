// One address of the other machine, present on the local bus: whatever is sent to it goes over the link.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "config.h"
#include "counters.h"
#include "kest_event.h"
#include "wire.h"

namespace router {

class FarEndpoint {
public:
    // Takes the address; null with `result` filled (-EADDRINUSE: another process has it). `wire` and `counters` must
    // stay.
    static std::unique_ptr<FarEndpoint> open(const link_config_t& link, const address_pair_t& address, Wire& wire,
                                             const std::atomic<uint32_t>& session, counters_t& counters,
                                             kest_result_t& result);
    // Senders find nobody there from here on.
    ~FarEndpoint();
    FarEndpoint(const FarEndpoint&) = delete;
    FarEndpoint& operator=(const FarEndpoint&) = delete;

    // Sends a record of the other machine to event.peer_host on the local bus, with attributes and number as they came.
    kest_result_t send(const kest_event_t& event) { return kest_event_send(client_, &event); }

private:
    FarEndpoint(uint16_t far, Wire& wire, const std::atomic<uint32_t>& session, counters_t& counters)
        : far_(far), wire_(wire), session_(session), counters_(counters)
    {
    }
    kest_result_t create(const link_config_t& link, const address_pair_t& address);
    void on_record(const kest_event_t& event);
    static kest_result_t record_cb(kest_event_client_t client, const kest_event_t* event, void* userdata);

    const uint16_t far_;
    Wire& wire_;
    const std::atomic<uint32_t>& session_;
    counters_t& counters_;
    kest_event_client_t client_ = nullptr;
};

}  // namespace router
