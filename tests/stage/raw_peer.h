// A peer spoken with plain sockets.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <vector>

class RawPeer {
public:
    // Connects to that address of the service.
    explicit RawPeer(uint16_t to) : socket_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "/run/tarn/%04x.sock", to);
        connected_ = connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        timeval patience = {2, 0};
        setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    ~RawPeer() { close(socket_); }
    RawPeer(const RawPeer&) = delete;
    RawPeer& operator=(const RawPeer&) = delete;

    bool connected() const { return connected_; }
    // False when the connection has gone or, `waits` being false, the service does not keep up.
    bool sends(const std::vector<uint8_t>& record, bool waits = true)
    {
        const int flags = MSG_NOSIGNAL | (waits ? 0 : MSG_DONTWAIT);
        return send(socket_, record.data(), record.size(), flags) == static_cast<ssize_t>(record.size());
    }
    // Says who it is: the address.
    bool hello(uint16_t host)
    {
        return sends({0x54, 0x01, static_cast<uint8_t>(host), static_cast<uint8_t>(host >> 8)});
    }
    bool is_closed()
    {
        char byte;
        return recv(socket_, &byte, 1, 0) <= 0;
    }

private:
    int socket_;
    bool connected_ = false;
};
