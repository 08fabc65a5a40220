// Who may connect: the keys that the configuration names, and nobody else. ZeroMQ asks here before it lets a peer in,
// when the peer has proved that the key is its own.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <zmq.hpp>

#include "config.h"

namespace router {

class Gate {
public:
    // Opens before the first socket that asks: without a gate ZeroMQ would let everybody in.
    Gate(zmq::context_t& context, const config_t& config);

    // Readable once when something was asked.
    int fd() const { return socket_.get(zmq::sockopt::fd); }
    // Answers all that was asked. A peer that is let in bears the name of its link from then on.
    void answer();

    // Peers turned away, and the last of them.
    uint64_t strangers() const { return strangers_; }
    const std::string& last_key() const { return last_key_; }
    const std::string& last_address() const { return last_address_; }

private:
    bool answer_one();
    std::string admit(const std::vector<zmq::message_t>& question);

    zmq::socket_t socket_;
    std::map<std::string, std::string> links_;  // by public key; of those that connect to us
    uint64_t strangers_ = 0;
    std::string last_key_;
    std::string last_address_;
};

}  // namespace router
