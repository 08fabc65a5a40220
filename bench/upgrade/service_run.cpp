#include "service_run.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>

service_run::service_run(const std::string& program)
{
    int pipe_ends[2];
    if (pipe2(pipe_ends, O_CLOEXEC) != 0) std::exit(EXIT_FAILURE);
    begin_ = std::chrono::steady_clock::now();
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(pipe_ends[1], STDOUT_FILENO);
        dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
        execl(program.c_str(), program.c_str(), nullptr);
        _exit(127);
    }
    close(pipe_ends[1]);
    output_ = pipe_ends[0];
}

service_run::~service_run()
{
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    close(output_);
}

double service_run::wait_until_up()
{
    std::string printed;
    char piece[256];
    while (printed.find("tfr_init\n") == std::string::npos) {
        const ssize_t length = read(output_, piece, sizeof piece);
        if (length <= 0) {
            std::fputs("the service ended before it was up\n", stderr);
            std::exit(EXIT_FAILURE);
        }
        printed.append(piece, static_cast<size_t>(length));
    }
    return since_start();
}

double service_run::since_start() const
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
}

double service_run::resident_kib() const
{
    std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) return std::strtod(line.c_str() + 6, nullptr);
    }
    return 0;
}
