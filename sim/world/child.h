// Work in a process of its own: the service's words are static, so each run needs one.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace sim {

// Where a child's text goes.
class Report {
public:
    explicit Report(int pipe) : pipe_(pipe) {}
    void line(const std::string& text) const;  // without its end

private:
    int pipe_;
};

struct child_end_t {
    size_t number = 0;  // as given to Children::start
    int status = 0;     // of waitpid
    bool finished() const;
    std::string how() const;  // "exit status 3", "signal 6 (Aborted)"
};

// Forks of this process, each with a pipe. Not from a process that has threads.
class Children {
public:
    using line_fn = std::function<void(size_t number, const std::string& line)>;
    using end_fn = std::function<void(const child_end_t& end)>;

    Children() = default;
    ~Children();  // kills those that still run
    Children(const Children&) = delete;
    Children& operator=(const Children&) = delete;

    // `work` runs in the child, whose standard output leads nowhere; what it returns is the exit status. Standard error
    // too, unless `shows_errors`.
    bool start(size_t number, const std::function<int(const Report& report)>& work, bool shows_errors = true);

    // Waits at most `milliseconds` (-1: for ever) for lines and ends, and tells them. False on a signal to this process
    // (EINTR), or when nobody runs.
    bool wait(int milliseconds, const line_fn& line, const end_fn& end);

    size_t running() const { return children_.size(); }

private:
    struct child_t {
        size_t number;
        pid_t pid;
        int pipe;
        std::string text;  // of a line that is not whole yet
    };
    bool drain(child_t& child, const line_fn& line);

    std::vector<child_t> children_;
};

}  // namespace sim
