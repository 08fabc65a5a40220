// The service under test as a process of its own: that of this build or, for one that was built for another machine,
// what the environment says.
#pragma once

#include "process.h"

class Service : public Process {
public:
    // `before`: a program and its arguments that run it, and have its process id.
    void start(const std::vector<std::string>& before = {}) { Process::start(command(before)); }
    void start_unread() { Process::start_unread(command({})); }

    std::string log() const { return errors(); }
    // Its clients answer before the start-up check is over, which may still make the file system read-only.
    bool is_up() const { return output().find("tfr_init\n") != std::string::npos; }

private:
    static std::vector<std::string> command(std::vector<std::string> before);
};
