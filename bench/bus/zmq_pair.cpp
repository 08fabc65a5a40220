#include <zmq.h>

#include "echo_process.h"
#include "pair.h"

namespace {

class endpoint_socket {
public:
    endpoint_socket(int type, const std::string& endpoint, bool binds) : context_(zmq_ctx_new())
    {
        socket_ = zmq_socket(context_, type);
        const int result = binds ? zmq_bind(socket_, endpoint.c_str()) : zmq_connect(socket_, endpoint.c_str());
        if (result != 0) fail(zmq_strerror(zmq_errno()));
    }
    ~endpoint_socket()
    {
        zmq_close(socket_);
        zmq_ctx_term(context_);
    }
    endpoint_socket(const endpoint_socket&) = delete;
    endpoint_socket& operator=(const endpoint_socket&) = delete;
    void* get() const { return socket_; }

private:
    void* context_;
    void* socket_;
};

void echo(const std::string& endpoint)
{
    const endpoint_socket socket(ZMQ_REP, endpoint, true);
    char record[RECORD];
    while (zmq_recv(socket.get(), record, sizeof record, 0) == static_cast<int>(sizeof record))
        zmq_send(socket.get(), record, sizeof record, 0);
}

class zmq_pair : public pair {
public:
    explicit zmq_pair(const std::string& directory)
        : endpoint_("ipc://" + directory + "/zmq"), child_([this] { echo(endpoint_); })
    {
    }

    void open() override { socket_ = std::make_unique<endpoint_socket>(ZMQ_REQ, endpoint_, false); }

    std::vector<double> ping(size_t count) override
    {
        std::vector<double> times;
        char record[RECORD] = {};
        constexpr int SIZE = sizeof record;
        for (size_t i = 0; i < count; ++i) {
            const auto begin = clock_type::now();
            if (zmq_send(socket_->get(), record, sizeof record, 0) != SIZE) fail("zmq_send");
            if (zmq_recv(socket_->get(), record, sizeof record, 0) != SIZE) fail("zmq_recv");
            times.push_back(us_since(begin));
        }
        return times;
    }

private:
    std::string endpoint_;
    echo_process child_;
    std::unique_ptr<endpoint_socket> socket_;
};

}  // namespace

std::unique_ptr<pair> make_zmq_pair(const std::string& directory)
{
    return std::make_unique<zmq_pair>(directory);
}
