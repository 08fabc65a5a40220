#include "outgoing.h"

#include <algorithm>
#include <cerrno>

#include "record.h"

namespace tarn {
namespace {

int send_now(int fd, const msghdr& record)
{
    return ::sendmsg(fd, &record, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0 ? 0 : -errno;
}

bool is_gone(int result)
{
    return result == -EPIPE || result == -ECONNRESET || result == -ENOTCONN;
}

}  // namespace

void outgoing::open(const route_config& routes, uint16_t own_host)
{
    routes_ = &routes;
    own_host_ = own_host;
    count_ = routes.host_count;
    for (uint32_t i = 0; i < count_; ++i)
        connections_[i].host = routes.hosts[i];
}

outgoing::connection* outgoing::find(uint16_t peer)
{
    connection* end = connections_ + count_;
    connection* found = std::find_if(connections_, end, [peer](const connection& one) { return one.host == peer; });
    return found == end ? nullptr : found;
}

int outgoing::connect(connection& to, counters& counts) const
{
    const sockaddr_un address = routes_->address_of(to.host, ".sock");
    unique_fd fd(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!fd) return -errno;
    if (::connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return -errno;
    const hello greeting{HELLO_MAGIC, HELLO_VERSION, own_host_};
    if (::send(fd.get(), &greeting, sizeof greeting, MSG_DONTWAIT | MSG_NOSIGNAL) < 0) return -errno;
    counts.add(TARN_CONNECTS_OUT);
    to.fd = std::move(fd);
    return 0;
}

int outgoing::send(uint16_t peer, const msghdr& record, counters& counts)
{
    connection* to = find(peer);
    if (to == nullptr) return -EHOSTUNREACH;
    const std::lock_guard lock(to->mutex);
    if (to->fd) {
        const int result = send_now(to->fd.get(), record);
        if (!is_gone(result)) return result;
        to->fd.reset();
    }
    const int connected = connect(*to, counts);
    return connected == 0 ? send_now(to->fd.get(), record) : connected;
}

}  // namespace tarn
