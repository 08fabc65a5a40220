// What the main thread does while callbacks do the work: it waits for a notice, for a signal, or for time to pass.
#pragma once

#include <chrono>
#include <optional>

namespace cli {

enum class wake { notified, interrupted, timeout };

class Waiter {
public:
    // SIGINT and SIGTERM reach wait() only, in whatever thread they arrive. Before the first thread is started.
    static void block_signals();

    Waiter();
    ~Waiter();
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

    // Ends one wait(), the current or the next. Any thread.
    void notify();

    // Real time; none: for ever. With `fd` (-1: none) also returns as notified when it can be read.
    wake wait(std::optional<std::chrono::milliseconds> timeout, int fd = -1);

    // Waits until `condition` holds, looking every `step`.
    template <class Condition>
    wake wait_until(Condition condition, std::chrono::milliseconds timeout,
                    std::chrono::milliseconds step = std::chrono::milliseconds(10))
    {
        const auto end = std::chrono::steady_clock::now() + timeout;
        while (!condition()) {
            if (std::chrono::steady_clock::now() >= end) return wake::timeout;
            if (wait(step) == wake::interrupted) return wake::interrupted;
        }
        return wake::notified;
    }

private:
    int notice_fd_;
    int signal_fd_;
};

}  // namespace cli
