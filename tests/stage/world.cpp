#include "world.h"

#include <algorithm>
#include <mutex>

bytes_t joined(peers::bytes_view first, peers::bytes_view second)
{
    bytes_t all(first.size() + second.size());
    std::copy(first.begin(), first.end(), all.begin());
    std::copy(second.begin(), second.end(), all.begin() + static_cast<long>(first.size()));
    return all;
}

std::vector<seen_t> World::sent(uint16_t from, uint8_t set, uint8_t id) const
{
    return sent([=](const seen_t& seen) { return seen.head.from == from && seen.set == set && seen.id == id; });
}

peers::BusEndpoint& World::peer(const peer_name_t& name, const std::function<void(peers::BusEndpoint&)>& prepare)
{
    auto& endpoint = peers_[name.host];
    if (endpoint) return *endpoint;
    peers::bus_open_error_t error;
    endpoint = peers::BusEndpoint::open({routes, name.service, name.endpoint}, error);
    if (!endpoint) throw std::runtime_error(std::string("no address for ") + name.endpoint);
    if (prepare) prepare(*endpoint);
    endpoint->start();
    return *endpoint;
}

peers::FlightController& World::controller()
{
    if (controller_) return *controller_;
    peers::bus_open_error_t error;
    controller_ = peers::FlightController::open({routes, FMU.service, FMU.endpoint}, {}, {}, error);
    if (!controller_) throw std::runtime_error("no address for the flight controller");
    return *controller_;
}

void World::controller_flies(const aircraft_t& aircraft)
{
    peers::fc_identity_t identity;
    identity.drone_type = aircraft.drone_type;
    peers::flight_options_t flight;
    flight.latitude = 0.84;
    flight.longitude = 0.2;
    flight.aircraft.mass = aircraft.mass;
    flight.aircraft.noise = true;  // as in life: one that is back to the last bit is not seen to be home
    peers::bus_open_error_t error;
    controller_ =
        peers::FlightController::open_flying({routes, FMU.service, FMU.endpoint}, identity, flight, {}, error);
    if (!controller_) throw std::runtime_error("no address for the flight controller");
    controller_->set_gps_level(aircraft.gps_level);
}

peers::AppPeer& World::app()
{
    peers::bus_open_error_t error;
    if (!app_) app_ = peers::AppPeer::open({routes, PHONE.service, PHONE.endpoint}, {}, error);
    if (!app_) throw std::runtime_error("no address for the app");
    return *app_;
}

void World::everybody_leaves()
{
    controller_.reset();
    app_.reset();
    peers_.clear();
}

namespace {

struct answer_t {
    std::mutex mutex;
    bool came = false;
    bytes_t payload;
};

}  // namespace

bytes_t World::ask(const peer_name_t& from, uint16_t to, uint8_t set, uint8_t id, const bytes_t& payload)
{
    const auto answer = std::make_shared<answer_t>();
    peers::request_t request = {to, set, id, payload};
    request.tries = 1;
    request.timeout_us = 3600u * 1'000'000u;  // the patience is ours
    request.owner = answer.get();
    peers::BusEndpoint& endpoint = peer(from);
    const auto done = [answer](const peers::reply_t& reply) {
        const std::lock_guard lock(answer->mutex);
        answer->came = true;
        if (reply.event == nullptr) return;
        const peers::bytes_view bytes = peers::payload_of(*reply.event);
        answer->payload.assign(bytes.begin(), bytes.end());
    };
    if (endpoint.request(request, done) != 0) return {};
    const auto came = [answer] {
        const std::lock_guard lock(answer->mutex);
        return answer->came;
    };
    if (!until(came, SECOND_US)) endpoint.drop(answer.get());
    const std::lock_guard lock(answer->mutex);
    return answer->payload;
}
