#include "stderr_line.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <ctime>

namespace tarn {
namespace {

// Keeps SIGPIPE from this thread while it writes. A library must not change what the signal does to the whole process.
class no_sigpipe {
public:
    no_sigpipe()
    {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    }
    ~no_sigpipe() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    no_sigpipe(const no_sigpipe&) = delete;
    no_sigpipe& operator=(const no_sigpipe&) = delete;

    // Takes back the signal that a failed write left pending, unless the caller had blocked it anyway.
    void discard_pending() const
    {
        if (sigismember(&before_, SIGPIPE) == 1) return;
        const timespec at_once{};
        sigtimedwait(&pipe_, nullptr, &at_once);
    }

private:
    sigset_t pipe_{};
    sigset_t before_{};
};

}  // namespace

void write_stderr(const char* text, size_t size)
{
    const int saved_errno = errno;
    const no_sigpipe guard;
    ssize_t written = 0;
    do {
        written = ::write(STDERR_FILENO, text, size);
    } while (written < 0 && errno == EINTR);
    if (written < 0 && errno == EPIPE) guard.discard_pending();
    errno = saved_errno;
}

void print_line(const char* format, ...)
{
    char line[1024] = "tarn: ";
    const size_t head = sizeof "tarn: " - 1;
    const size_t room = sizeof line - head - 1;  // one byte stays for the line feed
    va_list arguments;
    va_start(arguments, format);
    // The analyser overlooks the line above. NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    const int wanted = std::vsnprintf(line + head, room, format, arguments);
    va_end(arguments);
    if (wanted < 0) return;
    const size_t end = head + std::min(static_cast<size_t>(wanted), room - 1);
    line[end] = '\n';
    write_stderr(line, end + 1);
}

}  // namespace tarn
