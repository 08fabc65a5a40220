// A program as a process of its own, with its output in files.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

class Process {
public:
    Process() = default;
    ~Process() { kill(); }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    // In the root directory; one that still runs is killed. Standard output is a file, not a terminal.
    void start(const std::vector<std::string>& words);
    // The same, but nobody reads what it prints: both outputs go into a pipe whose reader is gone.
    void start_unread(const std::vector<std::string>& words);

    void kill();  // SIGKILL, and waits until it is gone
    int ends();   // waits until it ends by itself; its exit code, or -1 when a signal ended it
    void signal(int number) const;

    bool runs();
    // Of waitpid(), once it has ended by itself.
    int end_status() const { return end_status_; }
    pid_t pid() const { return pid_; }

    // Of the last start, standard output and standard error apart.
    std::string output() const;
    std::string errors() const;
    size_t threads() const;
    size_t descriptors() const;

private:
    void launch(const std::vector<std::string>& words, const std::function<void()>& redirect_output);

    pid_t pid_ = -1;
    int end_status_ = 0;
    std::string files_;
};
