// The end that connects, again and again until the other one is there.
#pragma once

#include <string>

#include "config.h"
#include "shared_socket.h"

namespace router {

enum class wire_event { none, connected, lost, not_admitted, wrong_key };

class DialledWire final : public Wire {
public:
    DialledWire(zmq::context_t& context, const key_pair_t& keys, const link_config_t& link, int news);
    sent send(std::span<const uint8_t> message) override { return socket_.send("", message); }

    // Messages of the other end; ZeroMQ has verified its key.
    SharedSocket& socket() { return socket_; }
    // What becomes of the connection. The descriptor is readable once when something has happened: take events then
    // until there is none.
    int events_fd() const { return monitor_.get(zmq::sockopt::fd); }
    wire_event next_event();

    // Begins anew. ZeroMQ tries again by itself, but not after a refusal.
    void dial();

private:
    const std::string address_;
    SharedSocket socket_;
    zmq::socket_t monitor_;
};

}  // namespace router
