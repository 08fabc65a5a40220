#include "tap.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

Tap::Tap() : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/run/tarn/tap.sock");
    unlink(address.sun_path);
    if (bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) std::perror("the tap");
    thread_ = std::thread([this] { collect(); });
}

Tap::~Tap()
{
    done_ = true;
    thread_.join();
    close(socket_);
}

void Tap::collect()
{
    pollfd ready = {socket_, POLLIN, 0};
    while (!done_) {
        if (poll(&ready, 1, 20) <= 0) continue;
        uint8_t bytes[sizeof(tarn_tap_head_t) + sizeof(kest_event_t)] = {};
        const ssize_t length = recv(socket_, bytes, sizeof bytes, 0);
        if (length < static_cast<ssize_t>(sizeof(tarn_tap_head_t) + KEST_EVENT_HEAD_SIZE)) continue;
        seen_t seen = {};
        kest_event_t event;
        std::memcpy(&seen.head, bytes, sizeof seen.head);
        std::memcpy(&event, bytes + sizeof seen.head, sizeof event);
        seen.set = static_cast<uint8_t>(event.msg_id >> 16);
        seen.id = static_cast<uint8_t>(event.msg_id);
        seen.attrib = event.attrib;
        seen.seq_id = event.seq_id;
        seen.payload.assign(event.msg_buf, event.msg_buf + event.msg_len);
        const std::lock_guard lock(mutex_);
        seen_.push_back(std::move(seen));
    }
}

std::vector<seen_t> Tap::all(const std::function<bool(const seen_t&)>& matches) const
{
    const std::lock_guard lock(mutex_);
    std::vector<seen_t> found;
    for (const seen_t& seen : seen_) {
        if (matches(seen)) found.push_back(seen);
    }
    return found;
}

void Tap::forget()
{
    const std::lock_guard lock(mutex_);
    seen_.clear();
}
