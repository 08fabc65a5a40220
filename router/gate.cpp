#include "gate.h"

#include <zmq_addon.hpp>

namespace router {
namespace {

constexpr const char* QUESTIONS = "inproc://zeromq.zap.01";  // where ZeroMQ asks
constexpr size_t KEY_SIZE = 32;

// Frames of a question: version, number, domain, address, identity, mechanism, credentials.
enum frame { VERSION, NUMBER, DOMAIN, ADDRESS, IDENTITY, MECHANISM, CREDENTIALS, FRAMES };

std::string readable(const zmq::message_t& key)
{
    char text[41];
    return zmq_z85_encode(text, static_cast<const uint8_t*>(key.data()), key.size()) != nullptr ? text : "";
}

}  // namespace

Gate::Gate(zmq::context_t& context, const config_t& config) : socket_(context, zmq::socket_type::rep)
{
    for (const link_config_t& link : config.links) {
        if (link.connect.empty()) links_[link.peer_key] = link.name;
    }
    socket_.set(zmq::sockopt::linger, 0);
    socket_.bind(QUESTIONS);
}

// Empty for a stranger.
std::string Gate::admit(const std::vector<zmq::message_t>& question)
{
    if (question.size() != FRAMES || question[MECHANISM].to_string_view() != "CURVE") return "";
    if (question[CREDENTIALS].size() != KEY_SIZE) return "";
    const std::string key = readable(question[CREDENTIALS]);
    const auto link = links_.find(key);
    if (link != links_.end()) return link->second;
    ++strangers_;
    last_key_ = key;
    last_address_ = question[ADDRESS].to_string();
    return "";
}

void Gate::answer()
{
    while (answer_one()) {
    }
}

// False when nobody asks.
bool Gate::answer_one()
{
    std::vector<zmq::message_t> question;
    if (!zmq::recv_multipart(socket_, std::back_inserter(question), zmq::recv_flags::dontwait)) return false;
    const std::string link = admit(question);
    const std::string number = question.size() > NUMBER ? question[NUMBER].to_string() : "";
    const std::string reply[] = {"1.0", number, link.empty() ? "400" : "200", "", link, ""};
    std::vector<zmq::const_buffer> frames;
    for (const std::string& frame : reply)
        frames.push_back(zmq::buffer(frame));
    zmq::send_multipart(socket_, frames);
    return true;
}

}  // namespace router
