// The service under test as a process of its own.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

class Service {
public:
    Service() = default;
    ~Service() { kill(); }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    // Starts it with its output in files; standard output is a file, not a terminal. `before`: a program and its
    // arguments that run it, and have its process id.
    void start(const std::vector<std::string>& before = {});

    // The same, but nobody reads what it prints and logs: both go into a pipe whose reader is gone.
    void start_unread();

    // SIGKILL, and waits until it is gone.
    void kill();

    void signal(int number) const;
    bool runs() const;
    // Of waitpid(), once it has ended by itself.
    int end_status() const { return end_status_; }
    pid_t pid() const { return pid_; }

    // Everything printed since the last start.
    std::string output() const;
    std::string log() const;
    size_t threads() const;
    size_t descriptors() const;

private:
    template <typename Fn>
    void launch(const std::vector<std::string>& before, Fn redirect_output);

    pid_t pid_ = -1;
    mutable int end_status_ = 0;
    std::string output_;
    std::string log_;
};
