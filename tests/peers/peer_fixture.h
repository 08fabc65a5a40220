// What the tests speak in: a bus of their own, and a service that keeps the protocol but can be told to misbehave.
#pragma once

#include <gmock/gmock.h>

#include <future>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "app/app_peer.h"
#include "common/bus_endpoint.h"
#include "exit_codes.h"
#include "support/scratch.h"
#include "upgrade_wire.h"

// A route configuration in a directory of its own.
class Bus {
public:
    Bus();

    peers::bus_name_t name(const std::string& service, const std::string& endpoint) const;
    std::unique_ptr<peers::BusEndpoint> endpoint(const std::string& service, const std::string& name) const;
    std::unique_ptr<peers::AppPeer> app() const;
    std::string path(const std::string& file) const { return directory_ / file; }
    std::string routes() const { return path("vela.json"); }

private:
    scratch directory_;
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
    using handler_t = void (ScriptedService::*)(const kest_event_t&);

    void on(uint8_t set, uint8_t id, handler_t handle);
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

// The tool as people call it.
struct tool_run_t {
    cli::exit_code code;
    std::string text;  // standard output and error
};
inline tool_run_t vela(const std::string& arguments)
{
    const run_t ended = run(VELA_PROGRAM " " + arguments);
    return {static_cast<cli::exit_code>(ended.code), ended.text};
}

// What a sender or a reader says at the end of the job.
template <class Result, class Worker, class Job>
Result result_of(Worker& worker, Job job)
{
    const auto ended = std::make_shared<std::promise<Result>>();
    job.done = [ended](const Result& result) { ended->set_value(result); };
    EXPECT_EQ(worker.begin(std::move(job)), 0);
    std::future<Result> result = ended->get_future();
    if (result.wait_for(20s) == std::future_status::ready) return result.get();
    ADD_FAILURE() << "no result";
    return {};
}
