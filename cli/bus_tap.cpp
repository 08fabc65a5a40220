#include "bus_tap.h"

#include <poll.h>
#include <pthread.h>

#include <algorithm>
#include <utility>

namespace cli {
namespace {

using std::chrono::steady_clock;

constexpr int END_MS = 50;  // until the thread sees that it shall end

}  // namespace

bool open_tap(const context_t& context, const route_config_t& config, TapSocket& tap, failure_t& failure)
{
    if (!config.tap.empty()) return tap.open(config.tap, failure);
    failure = {exit_code::configuration, context.route + ": \"tap\" is missing, so nobody sends copies",
               "Add \"tap\": \"" + config.bus_dir + "/tap.sock\" and start the service and its peers again."};
    return false;
}

Deadline::Deadline(std::optional<double> seconds)
{
    if (!seconds) return;
    const std::chrono::duration<double> bound(*seconds);
    end_ = steady_clock::now() + std::chrono::duration_cast<steady_clock::duration>(bound);
}

std::optional<std::chrono::milliseconds> Deadline::left() const
{
    if (!end_) return std::nullopt;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end_ - steady_clock::now());
    return std::max(left, std::chrono::milliseconds(0));
}

TapQueue::TapQueue(TapSocket& tap) : tap_(tap), thread_([this] { drain(); }) {}

TapQueue::~TapQueue()
{
    done_ = true;
    thread_.join();
}

std::deque<tap_record_t> TapQueue::take()
{
    const std::lock_guard lock(mutex_);
    return std::exchange(records_, {});
}

// Before everything else where the system permits it, as the tap has room for a few records only.
void TapQueue::drain()
{
    const sched_param first = {1};
    pthread_setschedparam(pthread_self(), SCHED_FIFO, &first);
    while (!done_) {
        pollfd ready = {tap_.fd(), POLLIN, 0};
        if (poll(&ready, 1, END_MS) <= 0) continue;
        while (const std::optional<tap_record_t> record = tap_.next())
            keep(*record);
    }
}

void TapQueue::keep(const tap_record_t& record)
{
    const std::lock_guard lock(mutex_);
    if (records_.size() < MOST) {
        records_.push_back(record);
    } else {
        lost_++;
    }
}

}  // namespace cli
