// The service as a child process, its output in a log file.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace cli {

class ServiceProcess {
public:
    ServiceProcess() = default;
    ~ServiceProcess() { stop(); }
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;

    // Starts `program` in the root directory; it dies with this process. False with `error` filled.
    bool start(const std::string& program, const std::string& log, std::string& error);

    // None while it runs; afterwards how it ended, for example "ended with status 1".
    std::optional<std::string> ended();

    // Ends it, by SIGTERM and after two seconds by SIGKILL. True when it ran until then.
    bool stop();

    pid_t pid() const { return pid_; }

    // The last lines of the log, for people.
    std::string log_tail(size_t lines) const;

private:
    bool wait_for_end(int milliseconds);

    pid_t pid_ = -1;
    std::optional<int> status_;
    std::string log_;
};

}  // namespace cli
