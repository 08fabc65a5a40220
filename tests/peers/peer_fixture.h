// What the tests speak in: a bus of their own, and a service that keeps the protocol but can be told to misbehave.
#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "app/app_peer.h"
#include "common/bus_endpoint.h"
#include "exit_codes.h"
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
    std::unique_ptr<peers::AppPeer> app() const;
    std::string path(const std::string& file) const { return directory_ + "/" + file; }
    std::string routes() const { return path("vela.json"); }

private:
    std::string directory_;
};

// What happens to a request instead of the honest thing.
struct fault_t {
    bool take = true;
    bool answer = true;
    std::optional<uint8_t> code = std::nullopt;  // in place of the honest one
    bool restart = false;                        // of the service, before the request
    bool litter = false;                         // a byte gets into the file that is not counted
};

// By number of the request, 0 for the first.
using faults_t = std::map<uint32_t, fault_t>;

fault_t fault_of(const faults_t& faults, uint32_t request);
// That request and the nine behind it.
faults_t ten_from(uint32_t first, const fault_t& fault);

// The service's end of an upgrade and of range reads, in memory.
class ScriptedService {
public:
    explicit ScriptedService(const Bus& bus);
    ~ScriptedService() { endpoint_->stop(); }

    struct script_t {
        faults_t data;  // of the data requests
        uint8_t end_code = UPGRADE_RET_OK;
        size_t ends_ignored = 0;
        std::vector<uint8_t> file;  // that ranges are read from
    };
    struct seen_t {
        std::vector<uint8_t> received;
        std::vector<int32_t> blocks;
        std::vector<uint8_t> end_codes;
        uint32_t reads = 0;
    };
    // From now on; what was seen is forgotten.
    void follow(script_t script);
    seen_t seen() const;

private:
    void entry(const kest_event_t& event);
    void start(const kest_event_t& event);
    void data(const kest_event_t& event);
    uint8_t take(peers::bytes_view payload, const fault_t& fault);
    void end(const kest_event_t& event);
    void read(const kest_event_t& event);

    std::unique_ptr<peers::BusEndpoint> endpoint_;
    mutable std::mutex mutex_;  // guards everything below
    script_t script_;
    seen_t seen_;
    bool open_ = false;
    uint32_t size_ = 0;
    int32_t last_ = -1;
};

// The bytes behind which the digest stands that they call for.
std::vector<uint8_t> with_digest(std::vector<uint8_t> bytes);

std::string file_text(const std::string& path);

// The tool as people call it.
struct tool_run_t {
    cli::exit_code code;
    std::string text;  // standard output and error
};
tool_run_t vela(const std::string& arguments);

// Each runs one job and waits for its result.
peers::upgrade_result_t upgraded(peers::AppPeer& app, std::vector<uint8_t> database,
                                 const peers::upgrade_options_t& options);
peers::transfer_result_t delivered(peers::AppPeer& app, std::vector<uint8_t> file, const peers::tfr_options_t& options);
peers::read_result_t read_back(peers::DatabaseReader& reader, peers::read_job_t job);
