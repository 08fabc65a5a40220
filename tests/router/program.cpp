#include "program.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <thread>

static std::string content(const std::string& path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

static void redirect(const std::string& path, int descriptor)
{
    const int file = ::open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
    dup2(file, descriptor);
    ::close(file);
}

bool within(std::chrono::milliseconds limit, const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

void Program::start(const std::vector<std::string>& words)
{
    static int started = 0;
    kill();
    files_ = "/tmp/program." + std::to_string(++started);
    std::vector<char*> arguments(words.size() + 1, nullptr);
    std::transform(words.begin(), words.end(), arguments.begin(),
                   [](const std::string& word) { return const_cast<char*>(word.c_str()); });
    pid_ = fork();
    if (pid_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    redirect(files_ + ".out", STDOUT_FILENO);
    redirect(files_ + ".err", STDERR_FILENO);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

void Program::signal(int number) const
{
    ::kill(pid_, number);
}

void Program::kill()
{
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

int Program::ends()
{
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string Program::output() const
{
    return content(files_ + ".out");
}

std::string Program::errors() const
{
    return content(files_ + ".err");
}

run_t run(const std::string& command)
{
    std::FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    run_t run = {-1, ""};
    if (pipe == nullptr) return run;
    char buffer[4096];
    for (size_t got = 0; (got = fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        run.text.append(buffer, got);
    const int status = pclose(pipe);
    run.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}
