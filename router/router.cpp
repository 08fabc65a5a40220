#include "router.h"

#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace router {
namespace {

constexpr auto TICK = std::chrono::milliseconds(BEAT_MS);
constexpr auto DIAL_AGAIN = std::chrono::seconds(6);  // longer than ZeroMQ waits for a connection and its handshake

// For sockets that receive_all() looks after.
const auto WAKES_ONLY = [] {};

int checked(int fd)
{
    if (fd < 0) throw std::system_error(errno, std::generic_category(), "cannot wait for events");
    return fd;
}

std::span<const uint8_t> bytes_of(const zmq::message_t& message)
{
    return {static_cast<const uint8_t*>(message.data()), message.size()};
}

}  // namespace

Router::Router(const config_t& config, const Report& report) : config_(config), report_(report)
{
    watch_signals();
    watch_news();
    if (!config.bind.empty()) {
        gate_ = std::make_unique<Gate>(context_, config);
        door_ = open_door(context_, config, news_);
        watch(gate_->fd(), [this] { gate_->answer(); });
        watch(door_->fd(), WAKES_ONLY);
    }
    for (const link_config_t& link : config.links)
        open_route(link);
}

// Whoever sends goes first, then the sockets.
Router::~Router()
{
    routes_.clear();
    door_.reset();
    ::close(news_);
    ::close(signals_);
}

void Router::open_route(const link_config_t& config)
{
    routes_.push_back(std::make_unique<route_t>());
    route_t& made = *routes_.back();
    if (config.connect.empty()) {
        made.served = std::make_unique<ServedWire>(*door_);
        made.link = std::make_unique<Link>(config, *made.served, report_);
        return;
    }
    made.dialled = std::make_unique<DialledWire>(context_, config_.keys, config, news_);
    made.link = std::make_unique<Link>(config, *made.dialled, report_);
    watch(made.dialled->socket().fd(), WAKES_ONLY);
    watch(made.dialled->events_fd(), [this, &made] { on_wire_event(made); });
}

void Router::watch(int fd, std::function<void()> action)
{
    watched_.push_back({fd, POLLIN, 0});
    actions_.push_back(std::move(action));
}

void Router::watch_news()
{
    news_ = checked(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    watch(news_, [this] {
        eventfd_t count = 0;
        ::eventfd_read(news_, &count);
    });
}

void Router::watch_signals()
{
    sigset_t wanted;
    sigemptyset(&wanted);
    for (const int signal : {SIGINT, SIGTERM, SIGUSR1})
        sigaddset(&wanted, signal);
    signals_ = checked(::signalfd(-1, &wanted, SFD_CLOEXEC | SFD_NONBLOCK));
    watch(signals_, [this] { on_signal(); });
}

void Router::run()
{
    // Of what has come before the first look a descriptor says nothing.
    for (const auto& action : actions_)
        action();
    auto next = clock::now();
    while (is_running_) {
        wait_until(is_behind_ ? clock::time_point::min() : next);
        receive_all();
        if (clock::now() < next) continue;
        tick();
        next = clock::now() + TICK;
    }
    for (const auto& route : routes_) {
        route->link->part();
        route->link->lost("this router ends");
    }
}

// Waits by itself: zmq_poll() asks the kernel several times for each socket.
void Router::wait_until(clock::time_point end)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(std::max(end, clock::now()) - clock::now());
    if (::poll(watched_.data(), watched_.size(), static_cast<int>(left.count())) <= 0) return;
    for (size_t i = 0; i < watched_.size(); ++i) {
        if (watched_[i].revents != 0) actions_[i]();
    }
}

void Router::on_signal()
{
    signalfd_siginfo info;
    if (::read(signals_, &info, sizeof info) != sizeof info) return;
    if (info.ssi_signo == SIGUSR1)
        say_counts();
    else
        is_running_ = false;
}

// Whatever woke us: what a descriptor told once may have been for any of them.
void Router::receive_all()
{
    is_behind_ = door_ && receive_some(*door_, nullptr);
    for (const auto& route : routes_) {
        if (route->dialled && receive_some(route->dialled->socket(), route.get())) is_behind_ = true;
    }
}

// True when there may be more. `dialled`: whose socket it is; null: the gate has told whose message it is.
bool Router::receive_some(SharedSocket& socket, route_t* dialled)
{
    const bool has_more = socket.receive(arrivals_);
    for (const arrival_t& arrival : arrivals_) {
        if (route_t* route = dialled != nullptr ? dialled : route_of(arrival))
            route->link->take(bytes_of(arrival.body), arrival.is_whole);
    }
    return has_more;
}

// Null: the link is not in the configuration.
Router::route_t* Router::route_of(const arrival_t& arrival)
{
    const auto route = std::find_if(routes_.begin(), routes_.end(),
                                    [&](const auto& one) { return one->served && one->link->name() == arrival.link; });
    if (route == routes_.end()) return nullptr;
    (*route)->served->found(arrival.routing_id);
    return route->get();
}

void Router::on_wire_event(route_t& route)
{
    for (wire_event event; (event = route.dialled->next_event()) != wire_event::none;) {
        if (event == wire_event::connected) {
            route.last_failure = wire_event::none;
            route.link->greet();
        } else if (event == wire_event::lost) {
            route.link->lost("the connection was lost");
        } else {
            say_failure(route, event);
        }
    }
}

// Once, not at every new attempt.
void Router::say_failure(route_t& route, wire_event event)
{
    if (event == route.last_failure) return;
    route.last_failure = event;
    const bool not_admitted = event == wire_event::not_admitted;
    report_.say(
        not_admitted ? "not_admitted" : "no_handshake", {{"link", route.link->name()}},
        route.link->name() + (not_admitted ? ": the other end does not know our key; name " + config_.keys.public_key +
                                                 " as \"peer_key\" in its configuration"
                                           : ": no handshake with the other end; is \"peer_key\" its public key?"));
}

void Router::tick()
{
    for (const auto& route : routes_) {
        route->link->tick();
        if (route->dialled) dial_again(*route);
    }
    say_strangers();
}

void Router::dial_again(route_t& route)
{
    const auto now = clock::now();
    if (route.link->is_up() || route.dial_at == clock::time_point{}) route.dial_at = now + DIAL_AGAIN;
    if (now < route.dial_at) return;
    route.dial_at = now + DIAL_AGAIN;
    route.dialled->dial();
}

// One line for a key that comes again and again.
void Router::say_strangers()
{
    if (!gate_ || gate_->strangers() == strangers_said_) return;
    strangers_said_ = gate_->strangers();
    if (gate_->last_key() == stranger_said_) return;
    stranger_said_ = gate_->last_key();
    report_.say("stranger", {{"key", stranger_said_}, {"address", gate_->last_address()}},
                "a stranger was turned away, from " + gate_->last_address() + " with the public key " + stranger_said_);
}

void Router::say_counts()
{
    json links = json::array();
    std::string text = "strangers turned away " + std::to_string(gate_ ? gate_->strangers() : 0);
    for (const auto& route : routes_) {
        links.push_back(route->link->counts());
        text += "\ntarn-router: " + route->link->counts_text();
    }
    report_.say("counters", {{"strangers", gate_ ? gate_->strangers() : 0}, {"links", links}}, text);
}

}  // namespace router
