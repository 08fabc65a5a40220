#include "bus_replay_run.h"

#include <array>
#include <cerrno>
#include <chrono>

#include "common/clock.h"
#include "kest_mb.h"
#include "tarn_host.h"

namespace cli {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds STEP(1);
constexpr milliseconds ANSWER_TIME(1000);
constexpr milliseconds ROOM_TIME(5000);  // for a receiver whose queue is full

}  // namespace

std::unique_ptr<Replay> Replay::open(const peers::bus_name_t& name, const std::vector<replay_step_t>& steps,
                                     Waiter& waiter, peers::bus_open_error_t& error)
{
    kest_mb_route_table_t routes = {};
    uint16_t host = 0;
    error = {peers::bus_step::route, 0, 0};
    error.result =
        kest_mb_create_route_table(name.config.c_str(), name.service.c_str(), name.endpoint.c_str(), &host, &routes);
    if (error.result != 0) return nullptr;
    std::unique_ptr<Replay> replay(new Replay(steps, waiter));
    error = {peers::bus_step::address, replay->create(routes, host), host};
    kest_mb_destroy_route_table(&routes);
    return error.result == 0 ? std::move(replay) : nullptr;
}

// The platform itself and not a peer's endpoint, which gives requests numbers of its own.
kest_result_t Replay::create(const kest_mb_route_table_t& routes, uint16_t host)
{
    static const auto descriptors = [] {
        std::array<kest_event_cmd_desc_t, 256> all = {};
        all.fill({nullptr, &Replay::reply_cb, 0});
        return all;
    }();
    std::array<const kest_event_cmd_desc_t*, KEST_EVENT_SETS> tables;
    std::array<uint32_t, KEST_EVENT_SETS> counts;
    tables.fill(descriptors.data());
    counts.fill(static_cast<uint32_t>(descriptors.size()));
    const kest_result_t result = kest_event_create_client(&routes, host, tables.data(), counts.data(), this, &client_);
    return result != 0 ? result : kest_event_start_client(client_);
}

Replay::~Replay()
{
    tarn_client_close(client_);
}

kest_result_t Replay::run(const pace_t& pace, const std::function<void(size_t)>& sent)
{
    const uint64_t start_us = peers::now_us();
    for (; sent_ < steps_.size(); sent(++sent_)) {
        const double after_us = static_cast<double>(steps_[sent_].at_us) / pace.speed;
        if (!pace.fast && wait_until_due(start_us, after_us) == wake::interrupted) return -EINTR;
        const kest_result_t result = send(sent_);
        if (result != 0) return result;
        const auto answered = [this] { return is_answered(sent_); };
        if (pace.fast && waiter_.wait_until(answered, ANSWER_TIME) == wake::interrupted) return -EINTR;
    }
    const wake end = waiter_.wait_until([this] { return all_answered(); }, ANSWER_TIME);
    return end == wake::interrupted ? -EINTR : 0;
}

// Looked at every millisecond: boot time may run faster than the time that is waited for. The times of a capture may be
// any, so that no moment is made of them.
wake Replay::wait_until_due(uint64_t start_us, double after_us)
{
    while (static_cast<double>(peers::now_us() - start_us) < after_us) {
        if (waiter_.wait(STEP) == wake::interrupted) return wake::interrupted;
    }
    return wake::timeout;
}

// Known as open before it is sent: the answer may come before the platform returns.
kest_result_t Replay::send(size_t step)
{
    const kest_event_t& request = steps_[step].request;
    if (steps_[step].wants_answer) {
        const std::lock_guard lock(mutex_);
        open_.add(request, step);
    }
    kest_result_t result = -EAGAIN;
    const auto is_sent = [&] { return (result = kest_event_send(client_, &request)) != -EAGAIN; };
    if (waiter_.wait_until(is_sent, ROOM_TIME, STEP) == wake::interrupted) return -EINTR;
    return result;
}

bool Replay::is_answered(size_t step) const
{
    const std::lock_guard lock(mutex_);
    return !steps_[step].wants_answer || answers_[step].has_value();
}

bool Replay::all_answered() const
{
    for (size_t i = 0; i < steps_.size(); i++) {
        if (!is_answered(i)) return false;
    }
    return true;
}

Replay::answers_t Replay::answers() const
{
    const std::lock_guard lock(mutex_);
    return answers_;
}

void Replay::handle_reply(const kest_event_t& reply)
{
    {
        const std::lock_guard lock(mutex_);
        const std::optional<size_t> step = open_.take(reply);
        if (!step) return;
        answers_[*step] = reply;
    }
    waiter_.notify();
}

kest_result_t Replay::reply_cb(kest_event_client_t, const kest_event_t* event, void* userdata)
{
    static_cast<Replay*>(userdata)->handle_reply(*event);
    return 0;
}

}  // namespace cli
