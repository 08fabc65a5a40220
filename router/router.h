// The router: all sockets, all links, one thread that waits for them.
#pragma once

#include <poll.h>

#include <functional>
#include <memory>
#include <vector>

#include <zmq.hpp>

#include "config.h"
#include "dialled_wire.h"
#include "gate.h"
#include "link.h"
#include "report.h"
#include "served_wire.h"

namespace router {

class Router {
public:
    // SIGINT, SIGTERM and SIGUSR1 must be blocked. zmq::error_t: an address in the configuration is no good.
    Router(const config_t& config, const Report& report);
    ~Router();
    Router(const Router&) = delete;
    Router& operator=(const Router&) = delete;

    // Until SIGINT or SIGTERM.
    void run();

private:
    // A link and its way: one of the two wires.
    struct route_t {
        std::unique_ptr<ServedWire> served;
        std::unique_ptr<DialledWire> dialled;
        std::unique_ptr<Link> link;
        wire_event last_failure = wire_event::none;  // as it was said
        clock::time_point dial_at = {};              // when the link is still down then
    };

    void open_route(const link_config_t& link);
    void watch(int fd, std::function<void()> action);
    void watch_signals();
    void watch_news();
    void wait_until(clock::time_point end);
    void on_signal();
    void receive_all();
    bool receive_some(SharedSocket& socket, route_t* dialled);
    route_t* route_of(const arrival_t& arrival);
    void on_wire_event(route_t& route);
    void say_failure(route_t& route, wire_event event);
    void tick();
    void dial_again(route_t& route);
    void say_strangers();
    void say_counts();

    const config_t& config_;
    const Report& report_;
    zmq::context_t context_;
    int signals_ = -1;
    int news_ = -1;  // see SharedSocket
    bool is_running_ = true;
    bool is_behind_ = false;           // there may be more to receive than was taken
    std::vector<arrival_t> arrivals_;  // what receive_some() is at
    std::unique_ptr<Gate> gate_;
    std::unique_ptr<SharedSocket> door_;  // null: nobody connects to us
    uint64_t strangers_said_ = 0;
    std::string stranger_said_;
    std::vector<std::unique_ptr<route_t>> routes_;
    std::vector<pollfd> watched_;
    std::vector<std::function<void()>> actions_;  // one for each that is watched
};

}  // namespace router
