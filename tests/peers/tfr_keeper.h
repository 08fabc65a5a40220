#pragma once

#include "peer_fixture.h"
#include "tfr_wire.h"

// The service's end of a delivery, in memory: keeps the protocol, but can be told to misbehave.
class TfrKeeper {
public:
    explicit TfrKeeper(const Bus& bus);
    ~TfrKeeper() { endpoint_->stop(); }

    // From now on, by number of the request (0: the start). The file stays, the story starts afresh.
    void follow(faults_t faults);
    std::vector<uint8_t> file() const;
    std::string story() const;  // s: start, f: finish, a number: a fragment

private:
    enum class state { idle, transfer, finish };

    void take(const kest_event_t& event);
    update_tfr_rsp_t honest(peers::bytes_view payload, const update_tfr_req_t& request);
    uint8_t fragment(peers::bytes_view payload, const update_tfr_req_t& request);
    uint8_t finish();
    uint16_t expected() const { return saved_ == 0 ? uint16_t{0} : static_cast<uint16_t>(last_ + 1); }

    std::unique_ptr<peers::BusEndpoint> endpoint_;
    mutable std::mutex mutex_;  // guards everything below
    faults_t faults_;
    uint32_t requests_ = 0;
    std::string story_;
    std::vector<uint8_t> file_;
    state state_ = state::idle;
    uint32_t saved_ = 0;
    uint32_t total_ = 0;
    uint16_t last_ = 0;
};
