#include "curve_pair.h"

#include <zmq.hpp>

#include "echo_process.h"
#include "keys.h"
#include "link_message.h"
#include "rig.h"

namespace {

constexpr size_t SIZE = sizeof(router::link_head_t) + RECORD;  // what two routers exchange for the same payload

void echo(const std::string& address, const router::key_pair_t& keys)
{
    zmq::context_t context;
    zmq::socket_t socket(context, zmq::socket_type::router);
    socket.set(zmq::sockopt::curve_server, true);
    socket.set(zmq::sockopt::curve_secretkey, keys.secret_key);
    socket.bind(address);
    for (;;) {
        zmq::message_t from;
        zmq::message_t body;
        if (!socket.recv(from) || !socket.recv(body)) return;
        socket.send(from, zmq::send_flags::sndmore);
        socket.send(body, zmq::send_flags::none);
    }
}

class curve_pair : public pair {
public:
    curve_pair()
        : address_("tcp://127.0.0.1:" + std::to_string(free_port())),
          server_(router::make_keys()),
          child_([this] { echo(address_, server_); })
    {
    }

    void open() override
    {
        const router::key_pair_t own = router::make_keys();
        context_ = std::make_unique<zmq::context_t>();
        socket_ = zmq::socket_t(*context_, zmq::socket_type::dealer);
        socket_.set(zmq::sockopt::linger, 0);
        socket_.set(zmq::sockopt::curve_serverkey, server_.public_key);
        socket_.set(zmq::sockopt::curve_publickey, own.public_key);
        socket_.set(zmq::sockopt::curve_secretkey, own.secret_key);
        socket_.connect(address_);
    }

    std::vector<double> ping(size_t count) override
    {
        std::vector<double> times;
        char record[SIZE] = {};
        for (size_t i = 0; i < count; ++i) {
            const auto begin = clock_type::now();
            socket_.send(zmq::buffer(record), zmq::send_flags::none);
            if (!socket_.recv(zmq::buffer(record))) fail("recv");
            times.push_back(us_since(begin));
        }
        return times;
    }

private:
    const std::string address_;
    const router::key_pair_t server_;
    echo_process child_;
    std::unique_ptr<zmq::context_t> context_;
    zmq::socket_t socket_;
};

}  // namespace

std::unique_ptr<pair> make_curve_pair()
{
    return std::make_unique<curve_pair>();
}
