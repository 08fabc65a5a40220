// A ZeroMQ socket that the endpoints' tasks send on and the router's thread receives from. ZeroMQ wants no two threads
// in a socket at once, so each call has the lock for its short time: a thread in between, that only passes records on,
// costs every record another wake-up.
#pragma once

#include <cstdint>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include <zmq.hpp>

#include "wire.h"

namespace router {

// ZeroMQ closes a connection after that long without a sign of life, and by itself looks for a new one.
inline constexpr int BEAT_MS = 500;
inline constexpr int BEAT_PATIENCE_MS = 1500;

struct arrival_t {
    std::string link;        // that the gate has let in; empty where we connected ourselves
    std::string routing_id;  // of the connection, where there are several
    zmq::message_t body;
    bool is_whole = false;  // false: it had more or fewer parts than one
};

class SharedSocket {
public:
    // `type`: router or dealer. `news`: an eventfd, written when there may be something to receive although fd() does
    // not say so.
    SharedSocket(zmq::context_t& context, zmq::socket_type type, int news);

    // For what is set before others use it.
    zmq::socket_t& bare() { return socket_; }
    // Ends a connection that there may be to `address`, and makes a new one.
    void dial(const std::string& address);

    // Readable once when something has come: receive() then until there is nothing more.
    int fd() const { return fd_; }

    // Any thread, never waits. `routing_id` is empty for a dealer.
    sent send(const std::string& routing_id, std::span<const uint8_t> message);
    // Replaces `arrivals` by what waits, at most so many that others have their turn. True when there may be more. All
    // of it is taken before anything is delivered: the reply to the first would meet the lock.
    bool receive(std::vector<arrival_t>& arrivals);

private:
    sent send_parts(const std::string& routing_id, std::span<const uint8_t> message);
    arrival_t receive_parts(zmq::message_t& first);

    const bool has_many_;
    const int news_;
    std::mutex mutex_;
    zmq::socket_t socket_;  // under mutex_
    int fd_;
};

}  // namespace router
