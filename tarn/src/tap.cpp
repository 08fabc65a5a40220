#include "tap.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <ctime>

#include "boot_time.h"

static_assert(sizeof(tarn_tap_head_t) == 16 && offsetof(tarn_tap_head_t, boot_time_us) == 0 &&
              offsetof(tarn_tap_head_t, from) == 8 && offsetof(tarn_tap_head_t, to) == 10 &&
              offsetof(tarn_tap_head_t, direction) == 12 && offsetof(tarn_tap_head_t, zero) == 13);

namespace tarn {
namespace {

constexpr int64_t RETRY_MS = 100;

bool has_left(int error)
{
    return error == ECONNREFUSED || error == ENOTCONN || error == ECONNRESET || error == EPIPE;
}

}  // namespace

int tap::open(const route_config& routes)
{
    if (routes.tap[0] == '\0') return 0;
    address_.sun_family = AF_UNIX;
    std::snprintf(address_.sun_path, sizeof address_.sun_path, "%s", routes.tap);
    fd_.reset(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    return fd_ ? 0 : -errno;
}

uint64_t tap::time_us()
{
    return fd_ && is_listening() ? boot_time_us() : 0;
}

// To look for a tap that is not there takes the kernel longer than to send a record. So it is done every RETRY_MS only,
// at the price that a tap misses what passes in the first moment after it has come.
bool tap::is_listening()
{
    if (is_connected_) return true;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    const int64_t now_ms = now.tv_sec * 1000 + now.tv_nsec / 1'000'000;
    int64_t next_try_ms = next_try_ms_;
    if (now_ms < next_try_ms || !next_try_ms_.compare_exchange_strong(next_try_ms, now_ms + RETRY_MS)) return false;
    is_connected_ = ::connect(fd_.get(), reinterpret_cast<const sockaddr*>(&address_), sizeof address_) == 0;
    return is_connected_;
}

void tap::copy(const tarn_tap_head_t& about, const iovec& head, const iovec& payload, counters& counts)
{
    if (about.boot_time_us == 0) return;
    iovec parts[3] = {{const_cast<tarn_tap_head_t*>(&about), sizeof about}, head, payload};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 3;
    for (int tries = 0; tries < 2 && is_listening(); ++tries) {
        if (::sendmsg(fd_.get(), &message, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0) return;
        if (!has_left(errno)) {
            counts.add(TARN_TAP_DROPPED);
            return;
        }
        is_connected_ = false;  // perhaps another one has taken its place
    }
}

}  // namespace tarn
