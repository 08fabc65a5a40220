// One run of the service as a process, timed from its start.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>

class service_run {
public:
    explicit service_run(const std::string& program);
    ~service_run();
    service_run(const service_run&) = delete;
    service_run& operator=(const service_run&) = delete;

    // Seconds from the start until it has printed "upgrade_init": its start-up is over.
    double wait_until_up();

    double since_start() const;
    double resident_kib() const;

private:
    pid_t pid_;
    int output_;
    std::chrono::steady_clock::time_point begin_;
};
