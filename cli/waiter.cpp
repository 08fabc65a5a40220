#include "waiter.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace cli {
namespace {

sigset_t stop_signals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

int checked(int fd)
{
    if (fd < 0) throw std::system_error(errno, std::generic_category(), "cannot wait for events");
    return fd;
}

bool readable(const pollfd& entry)
{
    return (entry.revents & (POLLIN | POLLHUP | POLLERR)) != 0;
}

}  // namespace

void Waiter::block_signals()
{
    const sigset_t set = stop_signals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

Waiter::Waiter()
    : notice_fd_(checked(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))), signal_fd_([] {
          const sigset_t set = stop_signals();
          return checked(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
      }())
{
}

Waiter::~Waiter()
{
    close(notice_fd_);
    close(signal_fd_);
}

void Waiter::notify()
{
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(notice_fd_, &one, sizeof one);  // full only when already notified
}

wake Waiter::wait(std::optional<std::chrono::milliseconds> timeout, int fd)
{
    pollfd entries[] = {{signal_fd_, POLLIN, 0}, {notice_fd_, POLLIN, 0}, {fd, POLLIN, 0}};
    const int milliseconds = timeout ? static_cast<int>(timeout->count()) : -1;
    if (poll(entries, std::size(entries), milliseconds) <= 0) return wake::timeout;
    if (readable(entries[0])) {
        signalfd_siginfo info;
        [[maybe_unused]] const ssize_t taken = read(signal_fd_, &info, sizeof info);
        return wake::interrupted;
    }
    if (readable(entries[1])) {
        uint64_t count = 0;
        [[maybe_unused]] const ssize_t taken = read(notice_fd_, &count, sizeof count);
    }
    return wake::notified;
}

}  // namespace cli
