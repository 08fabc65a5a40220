// Two million messages, good and bad, of ten peers that come and go, on the real bus.
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <nlohmann/json.hpp>

#include "on_bus.h"
#include "row.h"
#include "upgrade_hand.h"
#include "upgrade_wire.h"

namespace {

using steady_t = std::chrono::steady_clock;

constexpr size_t PEERS = 10;
constexpr size_t UNDER_WAY = 8;  // requests of one peer
constexpr uint64_t LIFE = 2000;  // requests until a peer goes and comes back

// Answers, and how long they took to come.
class Tally {
public:
    void add(std::chrono::nanoseconds time)
    {
        const std::lock_guard lock(mutex_);
        times_.push_back(time.count());
    }
    // Microseconds that so many parts of a thousand stay below; the times are forgotten.
    uint64_t take_percentile(size_t of_thousand)
    {
        const std::lock_guard lock(mutex_);
        std::vector<int64_t> times;
        times.swap(times_);
        if (times.empty()) return 0;
        const auto place = times.begin() + static_cast<long>(times.size() * of_thousand / 1000);
        std::nth_element(times.begin(), place, times.end());
        return static_cast<uint64_t>(*place / 1000);
    }

private:
    std::mutex mutex_;
    std::vector<int64_t> times_;
};

class BusyPeer {
public:
    BusyPeer(const std::string& routes, size_t number, uint64_t seed, Tally& tally)
        : routes_(routes), name_("peer" + std::to_string(number)), random_(seed), tally_(tally)
    {
    }
    ~BusyPeer() { goes(); }
    BusyPeer(const BusyPeer&) = delete;
    BusyPeer& operator=(const BusyPeer&) = delete;

    // So many requests from now on; UNDER_WAY of them at a time.
    void begins(uint64_t requests)
    {
        peers::bus_open_error_t error;
        endpoint_ = peers::BusEndpoint::open({routes_, "busy", name_}, error);
        if (!endpoint_) throw std::runtime_error("no address for " + name_);
        endpoint_->start();
        left_ = requests;
        idle_ = 0;
        for (size_t i = 0; i < UNDER_WAY; i++)
            goes_on();
    }
    bool is_done() const { return idle_ == UNDER_WAY; }
    void goes() { endpoint_.reset(); }
    uint64_t unanswered() const { return unanswered_; }

private:
    struct command_t {
        uint16_t host;
        uint8_t set, id;
        size_t longest;
    };

    peers::request_t any_request(bytes_t& payload)
    {
        static constexpr command_t COMMANDS[] = {
            {HOST_FLIGHT_SERVICE, SET_COMMON, ID_GET_VERSION, 4},
            {HOST_FLIGHT_SERVICE, SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE, 280},
            {HOST_FLIGHT_SERVICE, 0x44, 0x55, 1008},
            {HOST_NFZ_UPGRADE, SET_COMMON, ID_GET_VERSION, 4},
            {HOST_NFZ_UPGRADE, SET_COMMON, ID_UPGRADE_START, 16},
            {HOST_NFZ_UPGRADE, SET_COMMON, ID_UPGRADE_DATA, 1008},
            {HOST_NFZ_UPGRADE, SET_COMMON, ID_GET_DEVICE_STATE, 4},
            {HOST_NFZ_UPGRADE, SET_FLYLIMIT, ID_NFZ_READ, 12},
            {HOST_NFZ_UPGRADE, SET_FLYLIMIT, ID_NFZ_READ, 0},
        };
        const std::lock_guard lock(random_mutex_);
        const command_t& command = COMMANDS[random_() % std::size(COMMANDS)];
        payload.resize(command.longest == 0 ? 0 : random_() % (command.longest + 1));
        for (uint8_t& byte : payload)
            byte = static_cast<uint8_t>(random_());
        if (command.longest == 0) payload = read_payload(static_cast<uint32_t>(random_() % 6000), 100);
        return {command.host, command.set, command.id, payload};
    }

    void goes_on()
    {
        uint64_t left = left_;
        while (left > 0 && !left_.compare_exchange_weak(left, left - 1)) {
        }
        if (left == 0) {
            idle_++;
            return;
        }
        bytes_t payload;
        peers::request_t request = any_request(payload);
        request.timeout_us = 60'000'000;
        request.tries = 1;
        const auto begin = steady_t::now();
        const auto done = [this, begin](const peers::reply_t& reply) {
            if (reply.result != 0) unanswered_++;
            tally_.add(steady_t::now() - begin);
            goes_on();
        };
        if (endpoint_->request(request, done) != 0) idle_++;
    }

    const std::string routes_;
    const std::string name_;
    std::mutex random_mutex_;
    std::mt19937_64 random_;
    Tally& tally_;
    std::unique_ptr<peers::BusEndpoint> endpoint_;
    std::atomic<uint64_t> left_ = 0;
    std::atomic<size_t> idle_ = UNDER_WAY;
    std::atomic<uint64_t> unanswered_ = 0;
};

uint64_t resident_kib(pid_t pid)
{
    std::ifstream statm("/proc/" + std::to_string(pid) + "/statm");
    uint64_t size = 0, resident = 0;
    statm >> size >> resident;
    return resident * 4;
}

void add_routes()
{
    auto routes = nlohmann::json::parse(file_bytes(ROUTE_FILE));
    for (size_t i = 0; i < PEERS; i++)
        routes["services"]["busy"]["peer" + std::to_string(i)]["host"] = "0x200" + std::to_string(i);
    std::ofstream(ROUTE_FILE) << routes;
}

void mixed_messages(Run& run)
{
    const uint64_t rounds = run.is_full ? 1'000'000 / (PEERS * LIFE) : 5;
    add_routes();
    real(run).without_tap();
    write_file(DATABASE, database(5));
    run.world.launch();
    run.world.controller();
    Tally tally;
    std::vector<std::unique_ptr<BusyPeer>> peers;
    for (size_t i = 0; i < PEERS; i++)
        peers.push_back(std::make_unique<BusyPeer>(ROUTE_FILE, i, run.seed() * 100 + i, tally));
    size_t files = 0;
    uint64_t memory = 0;
    uint64_t p99 = 0;
    for (uint64_t round = 0; round < rounds; round++) {
        for (const auto& peer : peers)
            peer->begins(LIFE);
        const auto all_done = [&] {
            return std::all_of(peers.begin(), peers.end(), [](const auto& peer) { return peer->is_done(); });
        };
        run.expect(run.world.until(all_done, 1200 * SECOND_US), "requests without an answer");
        for (const auto& peer : peers)
            peer->goes();
        run.inject(PEERS * LIFE);
        run.count("messages", 2 * PEERS * LIFE);
        p99 = tally.take_percentile(990);
        // The first rounds grow what is then kept.
        if (round != 2) continue;
        files = run.world.open_files();
        memory = resident_kib(real(run).service().pid());
        run.count("p99 at the start, us", p99);
    }
    run.count("p99 at the end, us", p99);
    const uint64_t grown = resident_kib(real(run).service().pid());
    run.count("KiB resident", grown);
    run.count("files", run.world.open_files());
    run.expect(run.world.open_files() <= files + 2, "files are left open: " + std::to_string(run.world.open_files()) +
                                                        ", after the first rounds " + std::to_string(files));
    run.expect(grown <= memory + 256,
               "it grows from " + std::to_string(memory) + " to " + std::to_string(grown) + " KiB");
    for (const auto& peer : peers)
        run.expect(peer->unanswered() == 0, "a request had no answer");
    real(run).with_tap();
    run.more_files = 2 * PEERS;
}

}  // namespace

std::span<const row_t> soak_rows()
{
    static constexpr row_t ROWS[] = {
        {"S1", "two million mixed messages, ten peers", place_t::bus, 0, 1, mixed_messages},
    };
    return ROWS;
}
