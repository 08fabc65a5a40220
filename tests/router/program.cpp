#include "program.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

static void redirect(const std::string& path, int descriptor)
{
    const int file = ::open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
    dup2(file, descriptor);
    ::close(file);
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
