#include "counters.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "stderr_line.h"
#include "unique_fd.h"

static_assert(offsetof(tarn_stats_file_t, pid) == 8 && offsetof(tarn_stats_file_t, host) == 12 &&
              offsetof(tarn_stats_file_t, counters) == 14 && offsetof(tarn_stats_file_t, value) == 16 &&
              sizeof(tarn_stats_file_t) == 16 + 8 * TARN_COUNTERS);

namespace tarn {
namespace {

// Written, not only sized: a page that the disk has no room for must fail here and not at the first count.
bool write_whole(int fd, const tarn_stats_file_t& stats)
{
    const ssize_t written = ::write(fd, &stats, sizeof stats);
    if (written == sizeof stats) return true;
    if (written >= 0) errno = ENOSPC;
    return false;
}

// A mapping of the complete file under its final name, or null with errno.
tarn_stats_file_t* publish(const route_config& routes, const tarn_stats_file_t stats)
{
    const sockaddr_un fresh = routes.address_of(stats.host, ".stats.new");
    const sockaddr_un final = routes.address_of(stats.host, ".stats");
    ::unlink(fresh.sun_path);
    const unique_fd fd(::open(fresh.sun_path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0644));
    if (!fd || ::fchmod(fd.get(), 0644) != 0 || !write_whole(fd.get(), stats)) return nullptr;
    void* mapping = ::mmap(nullptr, sizeof stats, PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0);
    if (mapping == MAP_FAILED) return nullptr;
    if (::rename(fresh.sun_path, final.sun_path) == 0) return static_cast<tarn_stats_file_t*>(mapping);
    const int error = errno;
    ::munmap(mapping, sizeof stats);
    errno = error;
    return nullptr;
}

}  // namespace

counters::~counters()
{
    if (stats_ != &private_) ::munmap(stats_, sizeof *stats_);
}

void counters::open(const route_config& routes, uint16_t host)
{
    private_ = {{'T', 'A', 'R', 'N', 'S', 'T', 'A', '1'}, static_cast<uint32_t>(::getpid()), host, TARN_COUNTERS, {}};
    tarn_stats_file_t* shared = publish(routes, private_);
    if (shared != nullptr)
        stats_ = shared;
    else
        print_line("%s: counters are not shown there (%s)", routes.address_of(host, ".stats").sun_path,
                   std::strerror(errno));
}

void counters::add(uint32_t counter)
{
    std::atomic_ref<uint64_t>(stats_->value[counter]).fetch_add(1, std::memory_order_relaxed);
}

uint64_t counters::value(uint32_t counter) const
{
    return std::atomic_ref<uint64_t>(stats_->value[counter]).load(std::memory_order_relaxed);
}

}  // namespace tarn

const char* tarn_counter_name(uint32_t counter)
{
    static constexpr const char* NAMES[TARN_COUNTERS] = {
        "sent",
        "received",
        "connects_in",
        "connects_out",
        "send_no_route",
        "send_peer_absent",
        "send_queue_full",
        "send_failed",
        "closed_short",
        "closed_long",
        "closed_length",
        "closed_bad_hello",
        "closed_not_allowed",
        "dropped_set",
        "dropped_id",
        "tap_dropped",
    };
    return counter < TARN_COUNTERS ? NAMES[counter] : nullptr;
}
