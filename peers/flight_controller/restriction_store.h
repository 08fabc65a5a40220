// The restricted areas that the service pushes, one a second: the nearest ones, as the flight controller knows them.
#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "common/bus_endpoint.h"
#include "flight_controller/fc_event.h"
#include "tfr_wire.h"

namespace peers {

struct restrictions_t {
    std::array<uint8_t, TFR_UID_SIZE> uid = {};  // of the file they come from; zero without areas
    uint8_t count = 0;                           // areas that the service keeps, 0 to 5
    // By place, nearest first; none where no push has come for that place since the file or the count changed.
    std::array<std::optional<vela_tfr_item_t>, TFR_KEPT_AREAS> areas = {};
    uint64_t pushes = 0;   // taken, those without areas included
    uint64_t ignored = 0;  // not a push as it should be
    uint64_t last_us = 0;  // boot time of the last push

    // Every place has been pushed.
    bool complete() const;
    // The ids of the areas known, nearest first.
    std::vector<uint32_t> ids() const;
};

class RestrictionStore {
public:
    // Registers with `endpoint`, which must not be started yet. `happened` (may be empty) runs on its task when an
    // area, the count or the file changes.
    RestrictionStore(BusEndpoint& endpoint, fc_event_fn happened);
    RestrictionStore(const RestrictionStore&) = delete;
    RestrictionStore& operator=(const RestrictionStore&) = delete;

    restrictions_t now() const;  // any thread

private:
    void handle(const kest_event_t& event);
    bool take(const vela_flight_push_tfr_t& push);

    BusEndpoint& endpoint_;
    const fc_event_fn happened_;
    mutable std::mutex mutex_;
    restrictions_t now_;
};

}  // namespace peers
