// An endpoint of the message bus as peers use it: a table of handlers for what others ask, and requests of its own that
// are resent until an answer comes. Nothing here waits: everything ends in a callback.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "common/periodic_timer.h"
#include "common/records.h"
#include "kest_event.h"

namespace peers {

// Which endpoint to be: a name in the route configuration.
struct bus_name_t {
    std::string config;    // path of the route configuration
    std::string service;   // for example "app"
    std::string endpoint;  // for example "phone"
};

enum class bus_step { none, route, address, start };

// Why an endpoint could not be opened.
struct bus_open_error_t {
    bus_step step = bus_step::none;  // what failed; the platform has explained a failed `route` on standard error
    kest_result_t result = 0;        // negative errno; -EADDRINUSE: another process has the address
    uint16_t host = 0;               // the address, once the route is known
};

// How a request ended.
struct reply_t {
    kest_result_t result;       // 0, -ETIMEDOUT, or the negative errno of a resend
    const kest_event_t* event;  // the reply, valid during the call; null unless result is 0
    uint32_t sends;             // how often the request went out
};

struct request_t {
    uint16_t peer;
    uint8_t set;
    uint8_t id;
    bytes_view payload;               // at most 1008 bytes; copied
    uint32_t timeout_us = 1'000'000;  // boot time until it is sent again; noticed up to 50 ms late
    uint32_t tries = 5;               // sends in all, at least 1
    const void* owner = nullptr;      // whose it is, for drop()
};

class BusEndpoint {
public:
    using handler_fn = std::function<void(const kest_event_t& request)>;
    using reply_fn = std::function<void(const reply_t& reply)>;

    static constexpr size_t MAX_PENDING = 16;

    // Takes the address; others can connect from here on, but no callback runs before start(). Null with `error`
    // filled.
    static std::unique_ptr<BusEndpoint> open(const bus_name_t& name, bus_open_error_t& error);

    ~BusEndpoint() { stop(); }
    BusEndpoint(const BusEndpoint&) = delete;
    BusEndpoint& operator=(const BusEndpoint&) = delete;

    // Before start() only. The handler runs on the endpoint's task and answers through reply(). A request without a
    // handler is answered with the one byte 0xE0.
    void on_request(uint8_t set, uint8_t id, handler_fn handler);

    // Callbacks run from here on. 0 or the platform's negative errno.
    kest_result_t start();

    // No callback runs after its return. Call it before destroying what callbacks use; not from a callback.
    void stop();

    // Sends without waiting for an answer; the platform's result.
    kest_result_t send(uint16_t peer, uint8_t set, uint8_t id, bytes_view payload);

    // Answers `request` if its sender wants an answer.
    kest_result_t reply(const kest_event_t& request, bytes_view payload);

    // Sends a request. On 0 `done` runs exactly once, on the endpoint's task or its timer's thread, unless stop() comes
    // first; otherwise never: -EBUSY (MAX_PENDING under way), -EMSGSIZE, or the platform's result. A full queue at the
    // receiver is no failure: the request goes out again after its time-out.
    kest_result_t request(const request_t& request, reply_fn done);

    // The owner's requests under way are not sent again, and their `done` does not run, unless it runs already.
    void drop(const void* owner);

    // Runs `call` once, about `delay_us` from now, on the timer's thread. -EBUSY when MAX_PENDING wait already.
    kest_result_t call_later(uint64_t delay_us, std::function<void()> call);

    uint16_t host() const { return host_; }

private:
    struct handler_t {
        uint32_t msg_id;
        handler_fn run;
    };
    // A request under way; free when it has no `done`.
    struct pending_t {
        uint64_t deadline_us = 0;
        uint32_t timeout_us = 0;
        uint32_t tries_left = 0;
        uint32_t sends = 0;
        const void* owner = nullptr;
        kest_event_t event = {};
        reply_fn done;
    };
    struct later_t {
        uint64_t due_us = 0;
        std::function<void()> call;
    };

    explicit BusEndpoint(uint16_t host) : host_(host) {}
    kest_result_t create(const kest_mb_route_table_t& routes);
    void fill_head(kest_event_t& event, uint16_t peer, uint8_t set, uint8_t id, uint16_t attrib, bytes_view payload);
    size_t take_slot(const request_t& request, reply_fn&& done);
    void handle_request(const kest_event_t& event);
    void handle_reply(const kest_event_t& event);
    void tick();
    void expire(pending_t& slot, uint64_t now);
    void run_if_due(later_t& slot, uint64_t now);
    static kest_result_t request_cb(kest_event_client_t client, const kest_event_t* event, void* userdata);
    static kest_result_t reply_cb(kest_event_client_t client, const kest_event_t* event, void* userdata);

    const uint16_t host_;
    kest_event_client_t client_ = nullptr;
    std::vector<handler_t> handlers_;  // not changed after start(), so read without the lock
    std::atomic<uint16_t> seq_id_{0};
    PeriodicTimer timer_;
    std::mutex mutex_;  // guards the two arrays; never held while a callback runs
    std::array<pending_t, MAX_PENDING> pending_;
    std::array<later_t, MAX_PENDING> later_;
};

}  // namespace peers
