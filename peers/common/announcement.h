// The service's announcement of the installed database, every half second while no upgrade runs.
#pragma once

#include <functional>
#include <mutex>
#include <optional>

#include "common/bus_endpoint.h"
#include "common/nfz_version.h"

namespace peers {

struct announcement_t {
    nfz_version_t version;  // 0.0.0.0: no database
    uint32_t flags;
    uint16_t from;     // who announced it
    uint64_t time_us;  // boot time at which it came
    uint64_t number;   // 1 for the first that came to this endpoint
    bool changed;      // version differs from the one before, or it is the first
};

class AnnouncementListener {
public:
    // Registers with `endpoint`, which must not be started yet. `heard` runs on the endpoint's task for each one.
    explicit AnnouncementListener(BusEndpoint& endpoint, std::function<void(const announcement_t&)> heard = {});
    AnnouncementListener(const AnnouncementListener&) = delete;
    AnnouncementListener& operator=(const AnnouncementListener&) = delete;

    std::optional<announcement_t> last() const;  // any thread

private:
    void handle(const kest_event_t& event);

    BusEndpoint& endpoint_;
    const std::function<void(const announcement_t&)> heard_;
    mutable std::mutex mutex_;
    std::optional<announcement_t> last_;
};

}  // namespace peers
