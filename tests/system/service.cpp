#include "service.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <sstream>

#include "support/scratch.h"

static void redirect(const std::string& path, int descriptor)
{
    const int file = ::open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
    dup2(file, descriptor);
    ::close(file);
}

// The service of this build or, for one that was built for another machine, the command that runs it.
static std::vector<std::string> service_command()
{
    const char* command = std::getenv("VELA_FLIGHT_COMMAND");
    if (command == nullptr) return {VELA_FLIGHT};
    std::istringstream text(command);
    return {std::istream_iterator<std::string>(text), {}};
}

template <typename Fn>
void Service::launch(const std::vector<std::string>& before, Fn redirect_output)
{
    const std::vector<std::string> command = service_command();
    std::vector<char*> words;
    for (const std::string& word : before)
        words.push_back(const_cast<char*>(word.c_str()));
    for (const std::string& word : command)
        words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    pid_ = fork();
    if (pid_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    redirect_output();
    if (chdir("/") == 0) execvp(words[0], words.data());
    _exit(127);
}

void Service::start(const std::vector<std::string>& before)
{
    static int started = 0;  // each run has files of its own
    output_ = "/tmp/service." + std::to_string(++started) + ".out";
    log_ = "/tmp/service." + std::to_string(started) + ".log";
    launch(before, [this] {
        redirect(output_, STDOUT_FILENO);
        redirect(log_, STDERR_FILENO);
    });
}

void Service::start_unread()
{
    launch({}, [] {
        int ends[2];
        if (pipe(ends) != 0) _exit(127);
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        ::close(ends[0]);
        ::close(ends[1]);
    });
}

void Service::kill()
{
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

void Service::signal(int number) const
{
    ::kill(pid_, number);
}

bool Service::runs() const
{
    return pid_ > 0 && waitpid(pid_, &end_status_, WNOHANG) == 0;
}

std::string Service::output() const
{
    return text_of(output_);
}

std::string Service::log() const
{
    return text_of(log_);
}

static size_t entries(pid_t pid, const char* folder)
{
    const std::filesystem::path path = "/proc/" + std::to_string(pid) + "/" + folder;
    const std::filesystem::directory_iterator first(path);
    return static_cast<size_t>(std::distance(first, std::filesystem::directory_iterator()));
}

size_t Service::threads() const
{
    return entries(pid_, "task");
}

size_t Service::descriptors() const
{
    return entries(pid_, "fd");
}
