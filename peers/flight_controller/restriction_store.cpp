#include "flight_controller/restriction_store.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "common/clock.h"
#include "flight_v1_wire.h"

namespace peers {
namespace {

bool well_formed(bytes_view payload, vela_flight_push_tfr_t& push)
{
    if (payload.size() != sizeof push || !read_record(payload, push)) return false;
    if (push.num == 0) return push.idx == 0;
    return push.num <= TFR_KEPT_AREAS && push.idx < push.num && push.tfr_data.point_num <= TFR_MAX_POINTS;
}

bool same(const std::optional<vela_tfr_item_t>& known, const vela_tfr_item_t& area)
{
    return known && std::memcmp(&*known, &area, sizeof area) == 0;
}

}  // namespace

bool restrictions_t::complete() const
{
    return std::all_of(areas.begin(), areas.begin() + count, [](const auto& area) { return area.has_value(); });
}

std::vector<uint32_t> restrictions_t::ids() const
{
    std::vector<uint32_t> ids;
    for (const auto& area : areas) {
        if (area) ids.push_back(uint32_t{area->area_id});  // a copy: nothing may refer into a packed record
    }
    return ids;
}

RestrictionStore::RestrictionStore(BusEndpoint& endpoint, fc_event_fn happened)
    : endpoint_(endpoint), happened_(std::move(happened))
{
    endpoint.on_request(SET_FLYLIMIT, ID_TFR_PUSH, [this](const kest_event_t& event) { handle(event); });
}

void RestrictionStore::handle(const kest_event_t& event)
{
    vela_flight_push_tfr_t push;
    const bool readable = well_formed(payload_of(event), push);
    const uint8_t code = readable ? 0 : 1;
    endpoint_.reply(event, bytes_of(code));
    fc_event_t what = {fc_event_kind::restriction, now_us(), event.peer_host};
    {
        const std::lock_guard lock(mutex_);
        if (!readable) {
            ++now_.ignored;
            return;
        }
        ++now_.pushes;
        now_.last_us = what.time_us;
        if (!take(push)) return;
    }
    if (!happened_) return;
    what.place = push.idx;
    what.places = push.num;
    what.area = push.tfr_data;
    happened_(what);
}

// True when it tells something new.
bool RestrictionStore::take(const vela_flight_push_tfr_t& push)
{
    const bool other_list =
        push.num != now_.count || !std::equal(now_.uid.begin(), now_.uid.end(), std::begin(push.uid));
    if (other_list) {
        now_.areas = {};
        now_.count = push.num;
        std::copy(std::begin(push.uid), std::end(push.uid), now_.uid.begin());
    }
    if (push.num == 0) return other_list || now_.pushes == 1;
    std::optional<vela_tfr_item_t>& known = now_.areas[push.idx];
    if (!other_list && same(known, push.tfr_data)) return false;
    known = push.tfr_data;
    return true;
}

restrictions_t RestrictionStore::now() const
{
    const std::lock_guard lock(mutex_);
    return now_;
}

}  // namespace peers
