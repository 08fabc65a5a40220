#include "process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include "support/scratch.h"

static void redirect(const std::string& path, int descriptor)
{
    const int file = ::open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
    dup2(file, descriptor);
    ::close(file);
}

void Process::launch(const std::vector<std::string>& words, const std::function<void()>& redirect_output)
{
    kill();
    std::vector<char*> arguments(words.size() + 1, nullptr);
    std::transform(words.begin(), words.end(), arguments.begin(),
                   [](const std::string& word) { return const_cast<char*>(word.c_str()); });
    pid_ = fork();
    if (pid_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    redirect_output();
    if (chdir("/") == 0) execvp(arguments[0], arguments.data());
    _exit(127);
}

void Process::start(const std::vector<std::string>& words)
{
    static int started = 0;  // each run has files of its own
    files_ = "/tmp/process." + std::to_string(++started);
    launch(words, [this] {
        redirect(files_ + ".out", STDOUT_FILENO);
        redirect(files_ + ".err", STDERR_FILENO);
    });
}

void Process::start_unread(const std::vector<std::string>& words)
{
    launch(words, [] {
        int ends[2];
        if (pipe(ends) != 0) _exit(127);
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        ::close(ends[0]);
        ::close(ends[1]);
    });
}

void Process::kill()
{
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

int Process::ends()
{
    waitpid(pid_, &end_status_, 0);
    pid_ = -1;
    return WIFEXITED(end_status_) ? WEXITSTATUS(end_status_) : -1;
}

void Process::signal(int number) const
{
    if (pid_ > 0) ::kill(pid_, number);
}

bool Process::runs()
{
    if (pid_ <= 0) return false;
    if (waitpid(pid_, &end_status_, WNOHANG) == 0) return true;
    pid_ = -1;
    return false;
}

std::string Process::output() const
{
    return text_of(files_ + ".out");
}

std::string Process::errors() const
{
    return text_of(files_ + ".err");
}

static size_t entries(pid_t pid, const char* folder)
{
    const std::filesystem::path path = "/proc/" + std::to_string(pid) + "/" + folder;
    const std::filesystem::directory_iterator first(path);
    return static_cast<size_t>(std::distance(first, std::filesystem::directory_iterator()));
}

size_t Process::threads() const
{
    return entries(pid_, "task");
}

size_t Process::descriptors() const
{
    return entries(pid_, "fd");
}
