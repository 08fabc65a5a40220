// An aircraft and the ground: two buses, a router at each, and a network between them.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "common/bus_endpoint.h"
#include "flight_v1_wire.h"
#include "stage/process.h"
#include "support/scratch.h"

using json = nlohmann::ordered_json;
using bytes_t = std::vector<uint8_t>;

std::string first_line(const std::string& file);

// The router of one machine.
class RouterEnd {
public:
    // `link`: the name of the other machine. `enter`: the words that run a program on this one's network.
    RouterEnd(const std::string& name, std::string link, const std::string& bus_dir, std::vector<std::string> enter);

    json config;  // may be changed before start()
    std::string routes() const { return routes_; }
    std::string bus_dir() const { return bus_dir_; }
    std::string public_key() const { return first_line("/tmp/" + name_ + ".pub"); }
    std::string key_file() const { return "/tmp/" + name_ + ".key"; }

    void start();
    Process& program() { return program_; }

    // Events that it has printed since its start, those of one kind.
    std::vector<json> events(const std::string& kind) const;
    bool is_up() const { return events("link_up").size() > events("link_down").size(); }
    // Whether somebody is there at that address of its bus.
    bool has(uint16_t address) const;

    // Asks it for its counters now: "sent", "delivered", or a reason for a drop.
    uint64_t count(const std::string& name);
    uint64_t strangers() { return counters().value("strangers", uint64_t{0}); }

    std::unique_ptr<peers::BusEndpoint> endpoint(const std::string& service, const std::string& name) const;

private:
    json counters();

    const std::string name_;
    const std::string link_;
    const std::string bus_dir_;
    const std::string routes_;
    const std::vector<std::string> enter_;
    Process program_;
};

class Machines : public testing::Test {
protected:
    Machines();
    ~Machines() override;

    // Starts both routers, and waits until the link is up.
    void start_both();
    bool are_up() const { return ground->is_up() && aircraft->is_up(); }
    // Without a word to anybody. Only where there are two machines.
    bool has_cable() const { return network_.has_value(); }
    void pull_cable() const { move_cable("down"); }
    void mend_cable() const { move_cable("up"); }

    // Asks an endpoint once, set 0x20, id 5; none without a reply.
    static std::optional<bytes_t> ask(peers::BusEndpoint& asker, uint16_t whom, const bytes_t& payload,
                                      std::chrono::milliseconds patience = 3s);
    // The same with a result of the bus, when the request was not taken.
    static kest_result_t send(peers::BusEndpoint& sender, uint16_t whom, const bytes_t& payload = {});
    // Answers every such question with its payload turned around, and counts it.
    static void answer(peers::BusEndpoint& endpoint, std::atomic<int>* count = nullptr);

    std::string address() const { return address_; }  // of the ground's port, for ZeroMQ

    std::unique_ptr<RouterEnd> ground;
    std::unique_ptr<RouterEnd> aircraft;

private:
    struct network_t {
        std::FILE* keeper;
        int ground;
        int aircraft;
    };
    static std::optional<network_t> open_network();
    std::vector<std::string> enter(int process) const;
    void move_cable(const char* where) const;

    std::optional<network_t> network_;
    std::string address_;
};
