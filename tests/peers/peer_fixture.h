// What the tests speak in: a bus of their own, and a service that keeps the protocol but can be told to misbehave.
#pragma once

#include <gmock/gmock.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "app/app_peer.h"
#include "common/bus_endpoint.h"
#include "flight_controller/database_reader.h"
#include "upgrade_wire.h"

using namespace std::chrono_literals;

// Waits until `is_true` or for 5 seconds; says which.
bool soon(const std::function<bool()>& is_true);

// A route configuration in a directory of its own, which goes with it.
class Bus {
public:
    Bus();
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    peers::bus_name_t name(const std::string& service, const std::string& endpoint) const;
    std::unique_ptr<peers::BusEndpoint> endpoint(const std::string& service, const std::string& name) const;
    const std::string& directory() const { return directory_; }
    std::string routes() const { return directory_ + "/vela.json"; }

private:
    std::string directory_;
};

// The service's end of an upgrade and of range reads, in memory.
class ScriptedService {
public:
    explicit ScriptedService(const Bus& bus);
    ~ScriptedService() { endpoint_->stop(); }

    // What happens instead of the honest answer to the n-th data request (0 for the first): the block is taken or not,
    // and answered with a code (the honest one if none is given), or not at all.
    struct fault_t {
        bool take = true;
        bool answer = true;
        std::optional<uint8_t> code = std::nullopt;
    };
    void on_data(uint32_t request, const fault_t& fault);
    void answer_end(uint8_t code);
    void ignore_end_requests(uint32_t count);
    void serve(std::vector<uint8_t> file);

    std::vector<uint8_t> received() const;
    std::vector<int32_t> block_numbers() const;
    std::vector<uint8_t> end_codes() const;
    uint32_t reads() const;

private:
    void entry(const kest_event_t& event);
    void start(const kest_event_t& event);
    void data(const kest_event_t& event);
    uint8_t take(peers::bytes_view payload, const fault_t& fault);
    void end(const kest_event_t& event);
    void read(const kest_event_t& event);
    fault_t fault_now();

    std::unique_ptr<peers::BusEndpoint> endpoint_;
    mutable std::mutex mutex_;
    // Everything below is guarded by the mutex.
    std::vector<std::pair<uint32_t, fault_t>> faults_;
    uint8_t end_code_ = UPGRADE_RET_OK;
    uint32_t ends_ignored_ = 0;
    bool open_ = false;
    uint32_t size_ = 0;
    int32_t last_ = -1;
    uint32_t data_requests_ = 0;
    uint32_t reads_ = 0;
    std::vector<uint8_t> received_;
    std::vector<uint8_t> file_;
    std::vector<int32_t> block_numbers_;
    std::vector<uint8_t> end_codes_;
};

// Runs one upgrade and waits for its result.
peers::upgrade_result_t upgraded(peers::AppPeer& app, std::vector<uint8_t> database,
                                 const peers::upgrade_options_t& options);

// Runs one delivery of restrictions and waits for its result.
peers::transfer_result_t delivered(peers::AppPeer& app, std::vector<uint8_t> file, const peers::tfr_options_t& options);

// Reads and waits for the result.
peers::read_result_t read_back(peers::DatabaseReader& reader, peers::read_job_t job);
