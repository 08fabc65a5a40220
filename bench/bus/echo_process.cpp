#include "echo_process.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

echo_process::echo_process(const std::function<void()>& body) : child_(::fork())
{
    if (child_ < 0) {
        std::perror("fork");
        std::exit(EXIT_FAILURE);
    }
    if (child_ > 0) return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    body();
    std::_Exit(EXIT_SUCCESS);
}

echo_process::~echo_process()
{
    ::kill(child_, SIGKILL);
    ::waitpid(child_, nullptr, 0);
}
