// One other machine: whether it is there, its addresses on the local bus, and what passes between the two. The router's
// own thread only.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "config.h"
#include "counters.h"
#include "drop_news.h"
#include "far_endpoint.h"
#include "link_message.h"
#include "report.h"
#include "wire.h"

namespace router {

using clock = std::chrono::steady_clock;

class Link {
public:
    // All of them must stay. `wire` leads to the other end.
    Link(const link_config_t& config, Wire& wire, const Report& report);
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    const std::string& name() const { return config_.name; }
    bool is_up() const { return is_up_; }

    // A message of the other end. `is_whole` false: it came in several parts.
    void take(std::span<const uint8_t> bytes, bool is_whole);

    // The other end is to know that we are here.
    void greet();
    // It is not to wait for us any longer.
    void part();

    // The connection is lost, or `why` otherwise: the addresses leave the local bus.
    void lost(const char* why);

    // Twice a second: greets, notices silence, tries again for addresses that others have, says what was dropped.
    void tick();

    json counts() const;
    std::string counts_text() const;

private:
    struct address_t {
        address_pair_t pair;
        std::unique_ptr<FarEndpoint> endpoint;  // null: the link is down, or another process has the address
        bool is_refused = false;                // and that was said
    };

    bool is_silent() const;
    void take_hello(const link_message_t& hello);
    void came_up();
    void open_addresses();
    void open_address(address_t& address);
    void say_address(const address_t& address, kest_result_t result);
    void deliver(const link_message_t& record);
    void send_sign(const void* message, size_t size);

    const link_config_t& config_;
    Wire& wire_;
    const Report& report_;
    counters_t counters_;
    uint32_t own_session_;
    std::atomic<uint32_t> far_session_ = 0;  // written here, read by the endpoints; 0: not heard yet
    DropNews drop_news_;
    bool is_up_ = false;
    clock::time_point heard_at_ = {};
    clock::time_point next_try_ = {};
    std::vector<address_t> addresses_;  // goes first: its endpoints use what stands above
};

}  // namespace router
