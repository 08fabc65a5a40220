#include "link.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <random>

#include "units.h"

namespace router {
namespace {

constexpr auto SILENCE = std::chrono::milliseconds(2000);  // the other end is gone
constexpr auto TRY_AGAIN = std::chrono::seconds(2);        // for an address that another process has

constexpr const char* SILENT = "silent for 2 s";

uint32_t new_session()
{
    std::random_device random;
    uint32_t session = 0;
    while (session == 0)
        session = random();
    return session;
}

uint32_t reason_for(message_fault fault)
{
    switch (fault) {
        case message_fault::version:
            return DROP_BAD_VERSION;
        case message_fault::kind:
            return DROP_BAD_KIND;
        default:
            return DROP_BAD_LENGTH;
    }
}

uint32_t reason_for(kest_result_t result)
{
    switch (result) {
        case -EHOSTUNREACH:
            return DROP_NO_ROUTE;
        case -ENOENT:
        case -ECONNREFUSED:
            return DROP_RECEIVER_ABSENT;
        case -EAGAIN:
            return DROP_RECEIVER_FULL;
        default:
            return DROP_RECEIVER_REFUSED;
    }
}

// Whether a process listens there. To ask the bus for the address instead would print a line each time.
bool is_taken(const std::string& bus_dir, uint16_t host)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s/%04x.sock", bus_dir.c_str(), host);
    const int probe = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (probe < 0) return true;
    const bool taken = ::connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(probe);
    return taken;
}

}  // namespace

Link::Link(const link_config_t& config, Wire& wire, const Report& report)
    : config_(config),
      wire_(wire),
      report_(report),
      own_session_(new_session()),
      drop_news_(config.name, counters_, report)
{
    for (const address_pair_t& pair : config.addresses)
        addresses_.push_back({pair, nullptr});
}

void Link::greet()
{
    const link_hello_t hello = {{LINK_VERSION, static_cast<uint8_t>(message_kind::hello), 0, 0, far_session_},
                                own_session_};
    send_sign(&hello, sizeof hello);
}

void Link::part()
{
    const link_head_t bye = {LINK_VERSION, static_cast<uint8_t>(message_kind::bye), 0, 0, far_session_};
    send_sign(&bye, sizeof bye);
}

void Link::send_sign(const void* message, size_t size)
{
    if (wire_.send({static_cast<const uint8_t*>(message), size}) == sent::gone) lost("the connection was lost");
}

bool Link::is_silent() const
{
    return is_up_ && clock::now() - heard_at_ > SILENCE;
}

// Silence comes first: a router that stood still for a while would pass on what has waited.
void Link::take(std::span<const uint8_t> bytes, bool is_whole)
{
    if (is_silent()) lost(SILENT);
    link_message_t message;
    if (!is_whole) return counters_.count_drop(DROP_BAD_PARTS, 0);
    const message_fault fault = read_message(bytes, message);
    if (fault != message_fault::none) return counters_.count_drop(reason_for(fault), 0);
    const auto kind = static_cast<message_kind>(message.head.kind);
    if (kind == message_kind::hello) return take_hello(message);
    if (message.head.session != own_session_) return counters_.count_drop(DROP_STALE, message.head.from);
    if (kind == message_kind::bye) return lost("the other router has ended");
    heard_at_ = clock::now();
    if (is_up_) deliver(message);
}

// The link is up when the other end is known to hear us. Who is not heard, or is heard anew, is answered at once.
void Link::take_hello(const link_message_t& hello)
{
    const bool hears_us = hello.head.session == own_session_;
    const bool is_new = far_session_ != hello.far_session;
    far_session_ = hello.far_session;
    if (hears_us) heard_at_ = clock::now();
    if (hears_us && !is_up_) came_up();
    if (!hears_us || is_new) greet();
}

void Link::deliver(const link_message_t& record)
{
    const link_head_t& head = record.head;
    const auto sender = std::find_if(addresses_.begin(), addresses_.end(),
                                     [&](const address_t& one) { return one.pair.far == head.from; });
    if (sender == addresses_.end()) return counters_.count_drop(DROP_UNKNOWN_SENDER, head.from);
    if (!sender->endpoint) return counters_.count_drop(DROP_ADDRESS_TAKEN, sender->pair.here);
    const kest_result_t result = sender->endpoint->send(record.event);
    if (result == 0)
        ++counters_.delivered;
    else
        counters_.count_drop(reason_for(result), head.to);
}

void Link::came_up()
{
    is_up_ = true;
    report_.say("link_up", {{"link", name()}}, name() + ": up");
    open_addresses();
}

void Link::open_addresses()
{
    next_try_ = clock::now() + TRY_AGAIN;
    for (address_t& address : addresses_) {
        if (!address.endpoint) open_address(address);
    }
}

void Link::open_address(address_t& address)
{
    kest_result_t result = -EADDRINUSE;
    if (!is_taken(config_.bus_dir, address.pair.here))
        address.endpoint = FarEndpoint::open(config_, address.pair, wire_, far_session_, counters_, result);
    if (address.is_refused == (address.endpoint == nullptr)) return;
    address.is_refused = !address.is_refused;
    say_address(address, result);
}

void Link::say_address(const address_t& address, kest_result_t result)
{
    const std::string text = cli::address_text(address.pair.here);
    if (!address.is_refused) {
        report_.say("address_free", {{"link", name()}, {"address", text}},
                    name() + ": " + text + " is free, and taken");
        return;
    }
    const std::string why = result == -EADDRINUSE ? "another process has this address" : std::strerror(-result);
    report_.say("address_refused", {{"link", name()}, {"address", text}, {"why", why}},
                name() + ": " + text + " cannot be taken: " + why + "; it is tried again while the link is up");
}

void Link::lost(const char* why)
{
    if (!is_up_) return;
    is_up_ = false;
    own_session_ = new_session();
    for (address_t& address : addresses_)
        address.endpoint.reset();
    report_.say("link_down", {{"link", name()}, {"why", why}}, name() + ": down: " + why);
}

void Link::tick()
{
    if (is_silent()) lost(SILENT);
    greet();
    if (is_up_ && clock::now() >= next_try_) open_addresses();
    drop_news_.look();
}

json Link::counts() const
{
    json object = {{"link", name()},
                   {"up", is_up_},
                   {"sent", counters_.sent.load()},
                   {"delivered", counters_.delivered.load()},
                   {"dropped", json::object()}};
    for (uint32_t reason = 0; reason < DROPS; ++reason)
        object["dropped"][drop_name(reason)] = counters_.drops[reason].count.load();
    return object;
}

std::string Link::counts_text() const
{
    std::string text = name() + (is_up_ ? ": up" : ": down") + ", sent " + std::to_string(counters_.sent) +
                       ", delivered " + std::to_string(counters_.delivered);
    for (uint32_t reason = 0; reason < DROPS; ++reason) {
        const uint64_t count = counters_.drops[reason].count;
        if (count != 0) text.append(", ").append(drop_name(reason)).append(" ").append(std::to_string(count));
    }
    return text;
}

}  // namespace router
