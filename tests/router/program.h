// A program as a process of its own, with its output in files.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

// True as soon as `condition` holds, false after `limit`.
bool within(std::chrono::milliseconds limit, const std::function<bool()>& condition);

class Program {
public:
    Program() = default;
    ~Program() { kill(); }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void start(const std::vector<std::string>& words);
    void signal(int number) const;
    void kill();  // SIGKILL, and waits until it is gone
    int ends();   // waits until it ends by itself; its exit code, or -1 when a signal ended it

    bool runs() const { return pid_ > 0; }
    // Of the last start, standard output and standard error apart.
    std::string output() const;
    std::string errors() const;

private:
    pid_t pid_ = -1;
    std::string files_;
};

// Runs a shell's command to its end.
struct run_t {
    int code;
    std::string text;  // of both outputs
};
run_t run(const std::string& command);
