// The end that others connect to: one socket for all of them, and the way back to each.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "config.h"
#include "shared_socket.h"

namespace router {

// The one socket. zmq::error_t: it cannot listen there.
std::unique_ptr<SharedSocket> open_door(zmq::context_t& context, const config_t& config, int news);

class ServedWire final : public Wire {
public:
    explicit ServedWire(SharedSocket& door) : door_(door) {}
    // The newest connection of the other end is the one to answer on.
    void found(const std::string& routing_id);
    sent send(std::span<const uint8_t> message) override;

private:
    std::string routing_id();

    SharedSocket& door_;
    std::mutex mutex_;
    std::string routing_id_;  // under mutex_; empty: it has not connected yet
};

}  // namespace router
