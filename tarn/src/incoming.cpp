#include "incoming.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "record.h"
#include "stderr_line.h"

namespace tarn {
namespace {

// Who connected. A socket that cannot say belongs to nobody whom `allow` could name.
uid_t peer_uid(int fd)
{
    ucred credentials{};
    socklen_t size = sizeof credentials;
    const bool is_known = ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) == 0;
    return is_known ? credentials.uid : NO_UID;
}

bool is_older_stranger(const incoming_connection& one, const incoming_connection& other)
{
    if (one.has_greeted != other.has_greeted) return !one.has_greeted;
    return one.age < other.age;
}

// An empty record and the end of a connection read alike, but behind the end there is only more of it.
bool has_ended(int fd)
{
    uint8_t byte = 0;
    return ::recv(fd, &byte, sizeof byte, MSG_PEEK | MSG_DONTWAIT) == 0;
}

}  // namespace

void incoming::open(const route_config& routes, uint16_t own_host, counters& counts)
{
    routes_ = &routes;
    own_host_ = own_host;
    counts_ = &counts;
}

incoming_connection* incoming::add(unique_fd fd)
{
    auto* end = connections_ + CONNECTIONS_MAX;
    auto* place = std::find_if(connections_, end, [](const incoming_connection& one) { return !one.fd; });
    if (place == end) place = std::min_element(connections_, end, is_older_stranger);
    if (place->fd) {
        if (place->has_greeted) return nullptr;
        refuse(*place, TARN_CLOSED_BAD_HELLO, "it has not said hello and others want its place");
    }
    const uid_t uid = peer_uid(fd.get());
    *place = {.fd = std::move(fd),
              .uid = uid,
              .has_greeted = false,
              .sender = 0,
              .age = next_age_++,
              .is_busy = false,
              .turns = 0};
    counts_->add(TARN_CONNECTS_IN);
    return place;
}

bool incoming::read(incoming_connection& from, kest_event_t& event)
{
    while (from.fd) {
        const ssize_t size = ::recv(from.fd.get(), &event, sizeof event, MSG_DONTWAIT | MSG_TRUNC);
        if (size < 0 && (errno == EAGAIN || errno == EINTR)) return false;
        if (size < 0 || (size == 0 && has_ended(from.fd.get())))
            from.fd.reset();
        else if (from.has_greeted)
            return take_event(from, event, static_cast<size_t>(size));
        else
            take_hello(from, event, static_cast<size_t>(size));
    }
    return false;
}

bool incoming::take_hello(incoming_connection& from, const kest_event_t& record, size_t size)
{
    hello greeting{};
    if (size != sizeof greeting) return refuse(from, TARN_CLOSED_BAD_HELLO, "its first record is no hello");
    std::memcpy(&greeting, &record, sizeof greeting);
    if (greeting.magic != HELLO_MAGIC || greeting.version != HELLO_VERSION)
        return refuse(from, TARN_CLOSED_BAD_HELLO, "its first record is no hello of version 1");
    from.sender = greeting.host;
    if (!routes_->is_allowed(greeting.host, from.uid))
        return refuse(from, TARN_CLOSED_NOT_ALLOWED, "\"allow\" does not grant this address to this user");
    from.has_greeted = true;
    return true;
}

bool incoming::take_event(incoming_connection& from, kest_event_t& record, size_t size)
{
    if (size > KEST_EVENT_SIZE) return refuse(from, TARN_CLOSED_LONG, "a record of more than 1024 bytes");
    if (size < KEST_EVENT_HEAD_SIZE) return refuse(from, TARN_CLOSED_SHORT, "a record of less than 16 bytes");
    const size_t payload = size - KEST_EVENT_HEAD_SIZE;
    if (record.msg_len != payload) return refuse(from, TARN_CLOSED_LENGTH, "msg_len is not the length that came");
    record.peer_host = from.sender;
    record.reserved = 0;
    std::memset(record.msg_buf + payload, 0, KEST_EVENT_MAX_PAYLOAD - payload);
    return true;
}

// Closes and counts; a line says why, unless there were too many of them. Always false.
bool incoming::refuse(incoming_connection& from, uint32_t counter, const char* reason)
{
    counts_->add(counter);
    char speaker[16] = "a stranger";
    if (from.has_greeted || counter == TARN_CLOSED_NOT_ALLOWED)
        std::snprintf(speaker, sizeof speaker, "0x%04x", from.sender);
    if (may_print()) print_line("0x%04x closed a connection of %s (user %u): %s", own_host_, speaker, from.uid, reason);
    from.fd.reset();
    return false;
}

bool incoming::may_print()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (now.tv_sec != printing_second_) printed_ = 0;
    printing_second_ = now.tv_sec;
    return ++printed_ <= LINES_PER_SECOND;
}

}  // namespace tarn
