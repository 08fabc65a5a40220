#include "served_wire.h"

namespace router {

std::unique_ptr<SharedSocket> open_door(zmq::context_t& context, const config_t& config, int news)
{
    auto door = std::make_unique<SharedSocket>(context, zmq::socket_type::router, news);
    zmq::socket_t& socket = door->bare();
    socket.set(zmq::sockopt::router_mandatory, true);
    socket.set(zmq::sockopt::curve_server, true);
    socket.set(zmq::sockopt::curve_secretkey, config.keys.secret_key);
    socket.set(zmq::sockopt::zap_domain, std::string("tarn-router"));
    socket.bind(config.bind);
    return door;
}

void ServedWire::found(const std::string& routing_id)
{
    const std::lock_guard lock(mutex_);
    if (routing_id_ != routing_id) routing_id_ = routing_id;
}

std::string ServedWire::routing_id()
{
    const std::lock_guard lock(mutex_);
    return routing_id_;
}

sent ServedWire::send(std::span<const uint8_t> message)
{
    const std::string to = routing_id();
    return to.empty() ? sent::gone : door_.send(to, message);
}

}  // namespace router
