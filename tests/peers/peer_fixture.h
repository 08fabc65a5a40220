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
#include "model/service_model.h"
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
    bool take = true;  // false: it gets lost or, when it is answered, the disk is full
    bool answer = true;
    std::optional<uint8_t> code = std::nullopt;        // in place of the honest one
    std::optional<sim::bytes_t> reply = std::nullopt;  // likewise, all of it
    bool restart = false;                              // of the service, before the request
    bool litter = false;                               // the full disk keeps a byte of the fragment
};

// By number of the request, 0 for the first.
using faults_t = std::map<uint32_t, fault_t>;

// That request and the nine behind it.
faults_t ten_from(uint32_t first, const fault_t& fault);

// The service's end of upgrades, range reads and deliveries of areas, in memory.
class ScriptedService {
public:
    explicit ScriptedService(const Bus& bus);
    ~ScriptedService();

    // From now on. The files stay, the story starts afresh.
    void follow(faults_t faults);
    // The requests. e: entry, s: start, f: end or finish, r: read, a number: a block or a fragment.
    std::string story() const;

    // Any bytes, as an upgrade leaves them that is begun anew and then refused.
    void holds(sim::bytes_t database);
    sim::bytes_t database() const;
    sim::bytes_t areas() const;

private:
    void on(peers::BusEndpoint& endpoint, uint8_t set, uint8_t id);
    static std::string name_of(const kest_event_t& request);
    sim::bytes_t refused_by_the_disk(const kest_event_t& request, const fault_t& fault);

    std::unique_ptr<peers::BusEndpoint> upgrades_;
    std::unique_ptr<peers::BusEndpoint> deliveries_;
    mutable std::mutex mutex_;  // guards everything below
    faults_t faults_;
    uint32_t requests_ = 0;
    std::string story_;
    sim::ServiceModel model_;
};

template <class Record>
sim::bytes_t record_bytes(const Record& record)
{
    const peers::bytes_view bytes = peers::bytes_of(record);
    return {bytes.begin(), bytes.end()};
}

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
