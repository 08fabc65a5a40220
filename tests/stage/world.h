// Where a test happens: the service, its peers and its files, on the virtual clock or on the real bus.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "afqt_wire.h"
#include "app/app_peer.h"
#include "common/bus_endpoint.h"
#include "flight_controller/flight_controller.h"
#include "flight_v1_wire.h"
#include "support/scratch.h"
#include "tap.h"

using bytes_t = std::vector<uint8_t>;

inline constexpr uint64_t SECOND_US = 1'000'000;
inline constexpr const char* DATABASE = "/tmp/NFZ/nfz.bin";
inline constexpr const char* ROLLBACK_MARKER = "/tmp/NFZ/nfz_disable_anti_rollback";
inline constexpr const char* AREAS = "/tmp/EMMC/nfz_tfr.bin";

// What did not hold.
struct broken_t : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A record and what follows it.
bytes_t joined(peers::bytes_view first, peers::bytes_view second = {});

// Who can speak. "tablet" is a second app.
struct peer_name_t {
    const char* service;
    const char* endpoint;
    uint16_t host;
};
inline constexpr peer_name_t PHONE = {"app", "phone", 0x0200};
inline constexpr peer_name_t TABLET = {"app", "tablet", 0x0201};
inline constexpr peer_name_t STATION = {"factory", "station", 0x1103};
inline constexpr peer_name_t FMU = {"flight_controller", "fmu", 0x0306};

struct aircraft_t {
    uint8_t gps_level = 5;
    double mass = 1;  // so many times as heavy as it should be
    int8_t drone_type = PRODUCT_QX520;
};

class World {
public:
    virtual ~World() = default;

    virtual bool is_virtual() const = 0;

    // The service, as a process would start; on return it answers. kill() is SIGKILL.
    virtual void launch() = 0;
    virtual void kill() = 0;
    virtual bool runs() = 0;
    virtual std::string log() const = 0;  // since its last launch
    virtual size_t open_files() = 0;      // of the service, or of the whole virtual world
    size_t files_at_launch() const { return files_at_launch_; }

    // Boot time. On the real bus `limit_us` is at least 5 s of real time, for the machine may be slow.
    virtual bool until(const std::function<bool()>& condition, uint64_t limit_us) = 0;
    virtual void pass(uint64_t us) = 0;

    // Records as their senders handed them over, since forget().
    virtual std::vector<seen_t> sent(const std::function<bool(const seen_t&)>& matches) const = 0;
    virtual void forget() = 0;
    std::vector<seen_t> sent(uint16_t from, uint8_t set, uint8_t id) const;

    // Opened at the first call; `prepare` may then add handlers.
    peers::BusEndpoint& peer(const peer_name_t& name, const std::function<void(peers::BusEndpoint&)>& prepare = {});
    void leaves(const peer_name_t& name) { peers_.erase(name.host); }
    peers::FlightController& controller();  // a simulated one, standing unless it flies
    void controller_flies(const aircraft_t& aircraft = {});
    peers::AppPeer& app();  // as PHONE
    bool has_controller() const { return controller_ != nullptr; }
    void controller_leaves() { controller_.reset(); }
    void everybody_leaves();

    // Records that do not arrive, on the virtual clock.
    std::function<bool(const seen_t&)> loses;

    // The reply's payload; empty without one within a second.
    bytes_t ask(const peer_name_t& from, uint16_t to, uint8_t set, uint8_t id, const bytes_t& payload);

    // What one of the app's senders says at the end of the job.
    template <class Result, class Worker, class Job>
    Result result_of(Worker& worker, Job job)
    {
        const auto ended = std::make_shared<std::atomic<bool>>();
        const auto result = std::make_shared<Result>();
        job.done = [ended, result](const Result& end) {
            *result = end;
            *ended = true;
        };
        if (worker.begin(std::move(job)) != 0 || !until([&] { return ended->load(); }, 1200 * SECOND_US))
            throw broken_t("the job does not end");
        return *result;
    }

protected:
    std::string routes;  // what peers find their addresses in
    void was_launched() { files_at_launch_ = open_files(); }

private:
    size_t files_at_launch_ = 0;
    std::map<uint16_t, std::unique_ptr<peers::BusEndpoint>> peers_;
    std::unique_ptr<peers::FlightController> controller_;
    std::unique_ptr<peers::AppPeer> app_;
};
