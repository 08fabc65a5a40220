#include "dialled_wire.h"

#include <cstring>

namespace router {
namespace {

constexpr int RETRY_MS = 100;
constexpr int RETRY_MAX_MS = 1000;
constexpr int CONNECT_PATIENCE_MS = 2000;
constexpr int EVENTS = ZMQ_EVENT_HANDSHAKE_SUCCEEDED | ZMQ_EVENT_HANDSHAKE_FAILED_AUTH |
                       ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL | ZMQ_EVENT_HANDSHAKE_FAILED_NO_DETAIL |
                       ZMQ_EVENT_DISCONNECTED;

wire_event meaning_of(uint16_t event)
{
    switch (event) {
        case ZMQ_EVENT_HANDSHAKE_SUCCEEDED:
            return wire_event::connected;
        case ZMQ_EVENT_DISCONNECTED:
            return wire_event::lost;
        case ZMQ_EVENT_HANDSHAKE_FAILED_AUTH:
            return wire_event::not_admitted;
        default:
            return wire_event::wrong_key;
    }
}

}  // namespace

DialledWire::DialledWire(zmq::context_t& context, const key_pair_t& keys, const link_config_t& link, int news)
    : address_(link.connect),
      socket_(context, zmq::socket_type::dealer, news),
      monitor_(context, zmq::socket_type::pair)
{
    zmq::socket_t& socket = socket_.bare();
    // Nothing is kept for a connection that does not stand: what was said while nobody heard it is old.
    socket.set(zmq::sockopt::immediate, true);
    socket.set(zmq::sockopt::reconnect_ivl, RETRY_MS);
    socket.set(zmq::sockopt::reconnect_ivl_max, RETRY_MAX_MS);
    socket.set(zmq::sockopt::connect_timeout, CONNECT_PATIENCE_MS);
    socket.set(zmq::sockopt::curve_serverkey, link.peer_key);
    socket.set(zmq::sockopt::curve_publickey, keys.public_key);
    socket.set(zmq::sockopt::curve_secretkey, keys.secret_key);
    const std::string events = "inproc://events of " + link.name;
    if (zmq_socket_monitor(socket.handle(), events.c_str(), EVENTS) != 0) throw zmq::error_t();
    monitor_.set(zmq::sockopt::linger, 0);
    monitor_.connect(events);
    dial();
}

void DialledWire::dial()
{
    socket_.dial(address_);
}

wire_event DialledWire::next_event()
{
    zmq::message_t what;
    zmq::message_t address;
    if (!monitor_.recv(what, zmq::recv_flags::dontwait)) return wire_event::none;
    if (what.more()) (void)monitor_.recv(address);
    uint16_t event = 0;
    if (what.size() < sizeof event) return wire_event::none;
    std::memcpy(&event, what.data(), sizeof event);
    return meaning_of(event);
}

}  // namespace router
