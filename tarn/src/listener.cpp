#include "listener.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "stderr_line.h"

namespace tarn {
namespace {

constexpr int BACKLOG = 128;
constexpr mode_t DIRECTORY_MODE = 0770;
constexpr mode_t SOCKET_MODE = 0666;  // who may connect is decided by the directory and by `allow`

int make_directory(const char* path)
{
    if (::mkdir(path, DIRECTORY_MODE) != 0) return errno == EEXIST ? 0 : -errno;
    return ::chmod(path, DIRECTORY_MODE) == 0 ? 0 : -errno;  // whatever the umask took away
}

// Two starting processes must not both find the same dead socket, or the second would replace the first one's new one.
// The lock only closes this gap, so it is not worth waiting for a process that never gives it back.
unique_fd lock_directory(const char* path)
{
    unique_fd directory(::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const timespec pause{.tv_sec = 0, .tv_nsec = 10'000'000};
    for (int tries = 0; tries < 100 && ::flock(directory.get(), LOCK_EX | LOCK_NB) != 0; ++tries)
        nanosleep(&pause, nullptr);
    return directory;
}

const sockaddr* generic(const sockaddr_un& address)
{
    return reinterpret_cast<const sockaddr*>(&address);
}

bool is_dead_socket(const sockaddr_un& address)
{
    struct stat status {};
    if (::lstat(address.sun_path, &status) != 0 || !S_ISSOCK(status.st_mode)) return false;
    const unique_fd probe(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!probe) return false;
    return ::connect(probe.get(), generic(address), sizeof address) != 0 && errno == ECONNREFUSED;
}

int bind_replacing_dead(int fd, const sockaddr_un& address)
{
    if (::bind(fd, generic(address), sizeof address) == 0) return 0;
    if (errno != EADDRINUSE) return -errno;
    if (!is_dead_socket(address) || ::unlink(address.sun_path) != 0) return -EADDRINUSE;
    return ::bind(fd, generic(address), sizeof address) == 0 ? 0 : -errno;
}

int complain(int result, const char* what, const char* path)
{
    if (result == -EADDRINUSE) {
        print_line("%s: a living process has this bus address, stop it first (or the file is no socket: remove it)",
                   path);
    } else {
        print_line("%s: cannot %s (%s); check the directory and its owner", path, what, std::strerror(-result));
    }
    return result;
}

}  // namespace

int listener::open(const route_config& routes, uint16_t host)
{
    const int made = make_directory(routes.bus_dir);
    if (made != 0) return complain(made, "make the bus directory", routes.bus_dir);
    const unique_fd lock = lock_directory(routes.bus_dir);
    address_ = routes.address_of(host, ".sock");
    unique_fd fd(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!fd) return complain(-errno, "make the socket", address_.sun_path);
    const int bound = bind_replacing_dead(fd.get(), address_);
    if (bound != 0) return complain(bound, "listen", address_.sun_path);
    struct stat status {};
    if (::chmod(address_.sun_path, SOCKET_MODE) != 0 || ::stat(address_.sun_path, &status) != 0 ||
        ::listen(fd.get(), BACKLOG) != 0)
        return complain(-errno, "listen", address_.sun_path);
    device_ = status.st_dev;
    inode_ = status.st_ino;
    fd_ = std::move(fd);
    return 0;
}

void listener::close()
{
    if (!fd_) return;
    struct stat status {};
    const bool is_ours =
        ::lstat(address_.sun_path, &status) == 0 && status.st_dev == device_ && status.st_ino == inode_;
    if (is_ours) ::unlink(address_.sun_path);
    fd_.reset();
}

}  // namespace tarn
