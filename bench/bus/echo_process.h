// A child process that answers until this object goes.
#pragma once

#include <sys/types.h>

#include <functional>

class echo_process {
public:
    // Forks; the child runs `body` and never returns. Fork before this process has threads.
    explicit echo_process(const std::function<void()>& body);
    ~echo_process();
    echo_process(const echo_process&) = delete;
    echo_process& operator=(const echo_process&) = delete;
    pid_t pid() const { return child_; }

private:
    pid_t child_;
};
