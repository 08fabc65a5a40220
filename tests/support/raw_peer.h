// A peer of the bus spoken with plain sockets: bytes as they are.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

inline sockaddr_un address_of(const std::string& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
    return address;
}

class RawPeer {
public:
    // Connects to an endpoint's socket.
    explicit RawPeer(const std::string& path) : socket_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0))
    {
        const sockaddr_un address = address_of(path);
        connected_ = connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    // And says hello as that address.
    RawPeer(const std::string& path, uint16_t host) : RawPeer(path) { hello(host); }
    ~RawPeer() { close(socket_); }
    RawPeer(const RawPeer&) = delete;
    RawPeer& operator=(const RawPeer&) = delete;

    bool connected() const { return connected_; }
    // False when the connection has gone.
    bool sends(const void* bytes, size_t size) const
    {
        return send(socket_, bytes, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size);
    }
    bool sends(const std::vector<uint8_t>& record) const { return sends(record.data(), record.size()); }
    bool hello(uint16_t host) const
    {
        return sends({0x54, 0x01, static_cast<uint8_t>(host), static_cast<uint8_t>(host >> 8)});
    }
    bool is_closed() const  // soon, by the other end
    {
        pollfd wait = {socket_, POLLRDHUP, 0};
        return poll(&wait, 1, 5000) == 1;
    }

private:
    int socket_;
    bool connected_ = false;
};
