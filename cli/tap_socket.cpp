#include "tap_socket.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "capture/capture_reader.h"

namespace cli {
namespace {

constexpr int RECEIVE_BUFFER = 8 << 20;  // some thousand records, while the terminal is slow

bool fill_address(const std::string& path, sockaddr_un& address)
{
    address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return false;
    std::memcpy(address.sun_path, path.data(), path.size());
    return true;
}

// A socket file without a listener is what a killed watcher left behind.
bool somebody_listens(const sockaddr_un& address)
{
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool listens = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(fd);
    return listens;
}

}  // namespace

TapSocket::~TapSocket()
{
    if (fd_ < 0) return;
    close(fd_);
    unlink(path_.c_str());
}

bool TapSocket::open(const std::string& path, failure_t& failure)
{
    sockaddr_un address;
    if (!fill_address(path, address)) {
        failure = {exit_code::configuration, path + ": too long for a socket path", "Shorten \"tap\"."};
        return false;
    }
    if (somebody_listens(address)) {
        failure = {exit_code::address_in_use, path + ": somebody watches the bus already", "There is one tap: end it."};
        return false;
    }
    unlink(path.c_str());
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0 || bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        failure = {exit_code::configuration, path + ": cannot listen there: " + std::strerror(errno),
                   "The bus directory is made by the first endpoint: start vela_flight first, or make it."};
        if (fd >= 0) close(fd);
        return false;
    }
    // The larger buffer needs a privilege; without it the system's limit has to do.
    if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &RECEIVE_BUFFER, sizeof RECEIVE_BUFFER) != 0) {
        setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &RECEIVE_BUFFER, sizeof RECEIVE_BUFFER);
    }
    fd_ = fd;
    path_ = path;
    return true;
}

std::optional<tap_record_t> TapSocket::next()
{
    uint8_t buffer[sizeof(tarn_tap_head_t) + KEST_EVENT_SIZE];
    ssize_t got = 0;
    while ((got = recv(fd_, buffer, sizeof buffer, 0)) >= 0) {
        tap_record_t record = {};
        if (peers::read_tap_copy({buffer, static_cast<size_t>(got)}, record.head, record.event)) return record;
    }
    return std::nullopt;
}

}  // namespace cli
