#include "shared_socket.h"

#include <sys/eventfd.h>

#include <cerrno>

namespace router {
namespace {

constexpr int QUEUE_MAX = 256;         // messages that the other end has not taken: the next one is dropped
constexpr int64_t MESSAGE_MAX = 4096;  // enciphered, so more than a record needs; a longer one ends its connection
constexpr size_t BATCH = 64;           // messages taken at a time
constexpr int HANDSHAKE_PATIENCE_MS = 3000;
constexpr int LINGER_MS = 200;  // for the last goodbye

// Empty: no link has this name.
std::string user_of(zmq::message_t& message)
{
    try {
        return message.gets("User-Id");  // NOLINT(clang-analyzer-security.insecureAPI.gets): not that one
    } catch (const zmq::error_t&) {
        return "";
    }
}

}  // namespace

SharedSocket::SharedSocket(zmq::context_t& context, zmq::socket_type type, int news)
    : has_many_(type == zmq::socket_type::router), news_(news), socket_(context, type)
{
    socket_.set(zmq::sockopt::sndhwm, QUEUE_MAX);
    socket_.set(zmq::sockopt::rcvhwm, QUEUE_MAX);
    socket_.set(zmq::sockopt::maxmsgsize, MESSAGE_MAX);
    socket_.set(zmq::sockopt::linger, LINGER_MS);
    socket_.set(zmq::sockopt::handshake_ivl, HANDSHAKE_PATIENCE_MS);
    socket_.set(zmq::sockopt::heartbeat_ivl, BEAT_MS);
    socket_.set(zmq::sockopt::heartbeat_timeout, BEAT_PATIENCE_MS);
    socket_.set(zmq::sockopt::ipv6, true);
    fd_ = socket_.get(zmq::sockopt::fd);
}

void SharedSocket::dial(const std::string& address)
{
    const std::lock_guard lock(mutex_);
    (void)zmq_disconnect(socket_.handle(), address.c_str());  // fails where there is nothing to end
    socket_.connect(address);
}

sent SharedSocket::send(const std::string& routing_id, std::span<const uint8_t> message)
{
    const std::lock_guard lock(mutex_);
    const sent result = send_parts(routing_id, message);
    // ZeroMQ looks around while it sends, and fd() then says nothing of what it has found.
    if ((socket_.get(zmq::sockopt::events) & ZMQ_POLLIN) != 0) ::eventfd_write(news_, 1);
    return result;
}

sent SharedSocket::send_parts(const std::string& routing_id, std::span<const uint8_t> message)
{
    constexpr auto AT_ONCE = zmq::send_flags::dontwait;
    try {
        if (has_many_ && !socket_.send(zmq::buffer(routing_id), zmq::send_flags::sndmore | AT_ONCE)) return sent::full;
        return socket_.send(zmq::buffer(message.data(), message.size()), AT_ONCE) ? sent::ok : sent::full;
    } catch (const zmq::error_t& error) {
        if (error.num() != EHOSTUNREACH) throw;
        return sent::gone;
    }
}

bool SharedSocket::receive(std::vector<arrival_t>& arrivals)
{
    const std::lock_guard lock(mutex_);
    arrivals.clear();
    zmq::message_t first;
    while (arrivals.size() < BATCH) {
        if (!socket_.recv(first, zmq::recv_flags::dontwait)) return false;
        arrivals.push_back(receive_parts(first));
    }
    return true;
}

// All parts of a message have come when its first has.
arrival_t SharedSocket::receive_parts(zmq::message_t& first)
{
    arrival_t arrival;
    bool has_body = true;
    if (has_many_) {
        arrival.routing_id = first.to_string();
        has_body = first.more();
        if (has_body) (void)socket_.recv(first);
    }
    bool has_more = has_body && first.more();
    arrival.is_whole = has_body && !has_more;
    if (has_many_) arrival.link = user_of(first);
    arrival.body = std::move(first);
    for (zmq::message_t rest; has_more; has_more = rest.more())
        (void)socket_.recv(rest);
    return arrival;
}

}  // namespace router
