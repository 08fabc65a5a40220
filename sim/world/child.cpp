#include "world/child.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace sim {

void Report::line(const std::string& text) const
{
    const std::string whole = text + '\n';
    for (size_t at = 0; at < whole.size();) {
        const ssize_t written = write(pipe_, whole.data() + at, whole.size() - at);
        if (written <= 0) return;  // nobody listens any longer
        at += static_cast<size_t>(written);
    }
}

bool child_end_t::finished() const
{
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::string child_end_t::how() const
{
    if (WIFEXITED(status)) return "exit status " + std::to_string(WEXITSTATUS(status));
    return "signal " + std::to_string(WTERMSIG(status)) + " (" + strsignal(WTERMSIG(status)) + ")";
}

Children::~Children()
{
    for (const child_t& child : children_) {
        kill(child.pid, SIGKILL);
        waitpid(child.pid, nullptr, 0);
        close(child.pipe);
    }
}

bool Children::start(size_t number, const std::function<int(const Report& report)>& work, bool shows_errors)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return false;
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid < 0) {
        close(ends[0]);
        close(ends[1]);
        return false;
    }
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
        dup2(nowhere, STDOUT_FILENO);
        if (!shows_errors) dup2(nowhere, STDERR_FILENO);
        _exit(work(Report(ends[1])));  // without flushing what the service left in its buffers
    }
    close(ends[1]);
    children_.push_back({number, pid, ends[0], {}});
    return true;
}

bool Children::drain(child_t& child, const line_fn& line)
{
    char bytes[4096];
    const ssize_t length = read(child.pipe, bytes, sizeof bytes);
    if (length <= 0) return false;
    child.text.append(bytes, static_cast<size_t>(length));
    for (size_t end = child.text.find('\n'); end != std::string::npos; end = child.text.find('\n')) {
        line(child.number, child.text.substr(0, end));
        child.text.erase(0, end + 1);
    }
    return true;
}

bool Children::wait(int milliseconds, const line_fn& line, const end_fn& end)
{
    if (children_.empty()) return false;
    std::vector<pollfd> entries;
    for (const child_t& child : children_)
        entries.push_back({child.pipe, POLLIN, 0});
    if (poll(entries.data(), entries.size(), milliseconds) < 0) return false;
    std::vector<child_end_t> ended;
    for (size_t i = 0; i < entries.size(); i++) {
        child_t& child = children_[i];
        if (entries[i].revents == 0 || drain(child, line)) continue;
        close(child.pipe);
        child_end_t one = {child.number, 0};
        waitpid(child.pid, &one.status, 0);
        child.pid = 0;
        ended.push_back(one);
    }
    std::erase_if(children_, [](const child_t& child) { return child.pid == 0; });
    for (const child_end_t& one : ended)
        end(one);
    return true;
}

}  // namespace sim
