#include "demo/service_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <deque>
#include <fstream>
#include <thread>

namespace cli {
namespace {

constexpr int NOT_STARTED = 127;

// Runs between fork and exec: plain system calls only.
[[noreturn]] void become(const char* program, int log_fd, pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(NOT_STARTED);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    if (chdir("/") != 0) _exit(NOT_STARTED);
    dup2(log_fd, STDOUT_FILENO);
    dup2(log_fd, STDERR_FILENO);
    execl(program, program, static_cast<char*>(nullptr));
    _exit(NOT_STARTED);
}

std::string status_text(int status)
{
    if (WIFSIGNALED(status)) return std::string("was killed by ") + strsignal(WTERMSIG(status));
    if (WEXITSTATUS(status) == NOT_STARTED) return "could not be started (status 127)";
    return "ended with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

bool ServiceProcess::start(const std::string& program, const std::string& log, std::string& error)
{
    log_ = log;
    if (access(program.c_str(), X_OK) != 0) {
        error = program + ": " + std::strerror(errno);
        return false;
    }
    const int fd = open(log.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0644);
    if (fd < 0) {
        error = log + ": " + std::strerror(errno);
        return false;
    }
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ == 0) become(program.c_str(), fd, parent);
    if (pid_ < 0) error = std::string("no new process: ") + std::strerror(errno);
    close(fd);
    return pid_ > 0;
}

std::optional<std::string> ServiceProcess::ended()
{
    if (pid_ <= 0) return "was not started";
    int status = 0;
    if (!status_ && waitpid(pid_, &status, WNOHANG) == pid_) status_ = status;
    if (!status_) return std::nullopt;
    return status_text(*status_);
}

bool ServiceProcess::stop()
{
    if (ended()) return false;
    kill(pid_, SIGTERM);
    if (wait_for_end(2000)) return true;
    kill(pid_, SIGKILL);
    return wait_for_end(2000);
}

bool ServiceProcess::wait_for_end(int milliseconds)
{
    for (int i = 0; i < milliseconds / 10 && !ended(); i++)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return ended().has_value();
}

std::string ServiceProcess::log_tail(size_t lines) const
{
    std::ifstream file(log_);
    std::deque<std::string> last;
    for (std::string line; std::getline(file, line);) {
        last.push_back(line);
        if (last.size() > lines) last.pop_front();
    }
    std::string text;
    for (const std::string& line : last)
        text += "    " + line + "\n";
    return text;
}

}  // namespace cli
