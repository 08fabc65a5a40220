// A program as a process of its own, with its output in files.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <string>
#include <vector>

#include "support/scratch.h"

class Program {
public:
    Program() = default;
    ~Program() { kill(); }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void start(const std::vector<std::string>& words);
    void signal(int number) const { ::kill(pid_, number); }
    void kill();  // SIGKILL, and waits until it is gone
    int ends();   // waits until it ends by itself; its exit code, or -1 when a signal ended it

    bool runs() const { return pid_ > 0; }
    // Of the last start, standard output and standard error apart.
    std::string output() const { return text_of(files_ + ".out"); }
    std::string errors() const { return text_of(files_ + ".err"); }

private:
    pid_t pid_ = -1;
    std::string files_;
};
