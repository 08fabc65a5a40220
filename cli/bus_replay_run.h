// Plays the steps of a replay on the bus and collects the answers.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "bus_replay_plan.h"
#include "common/bus_endpoint.h"
#include "waiter.h"

namespace cli {

struct pace_t {
    double speed = 1;   // times the recorded one
    bool fast = false;  // the next as soon as the answer to the last came, or after a second
};

class Replay {
public:
    using answers_t = std::vector<std::optional<kest_event_t>>;  // one a step

    // Takes the address; null with `error` filled. `steps` and `waiter` must outlive it. Requests of others are not
    // answered.
    static std::unique_ptr<Replay> open(const peers::bus_name_t& name, const std::vector<replay_step_t>& steps,
                                        Waiter& waiter, peers::bus_open_error_t& error);
    ~Replay();
    Replay(const Replay&) = delete;
    Replay& operator=(const Replay&) = delete;

    // Sends all steps, numbers and attributes as recorded; `sent` runs after each with how many went out. Waits for the
    // last answers up to a second. 0, -EINTR after a signal, or why the bus did not take one.
    kest_result_t run(const pace_t& pace, const std::function<void(size_t)>& sent);

    answers_t answers() const;
    size_t sent() const { return sent_; }

private:
    Replay(const std::vector<replay_step_t>& steps, Waiter& waiter)
        : steps_(steps), waiter_(waiter), answers_(steps.size())
    {
    }
    kest_result_t create(const kest_mb_route_table_t& routes, uint16_t host);
    wake wait_until_due(uint64_t start_us, double after_us);
    kest_result_t send(size_t step);
    bool is_answered(size_t step) const;
    bool all_answered() const;
    void handle_reply(const kest_event_t& reply);
    static kest_result_t reply_cb(kest_event_client_t client, const kest_event_t* event, void* userdata);

    const std::vector<replay_step_t>& steps_;
    Waiter& waiter_;
    kest_event_client_t client_ = nullptr;
    size_t sent_ = 0;
    mutable std::mutex mutex_;  // guards the two below, which the client's task writes
    answers_t answers_;
    OpenRequests open_;
};

}  // namespace cli
