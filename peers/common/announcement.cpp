#include "common/announcement.h"

#include <utility>

#include "common/clock.h"
#include "flight_v1_wire.h"
#include "upgrade_wire.h"

namespace peers {

AnnouncementListener::AnnouncementListener(BusEndpoint& endpoint, std::function<void(const announcement_t&)> heard)
    : endpoint_(endpoint), heard_(std::move(heard))
{
    endpoint.on_request(SET_FLIGHT_CONTROLLER, ID_FLYLIMIT_VERSION,
                        [this](const kest_event_t& event) { handle(event); });
}

void AnnouncementListener::handle(const kest_event_t& event)
{
    upgrade_flylimit_version_push_t push;
    const bool readable = read_record(payload_of(event), push);
    const uint8_t code = readable ? UPGRADE_RET_OK : UPGRADE_RET_LENGTH;
    endpoint_.reply(event, bytes_of(code));
    if (!readable) return;
    announcement_t heard = {version_from_bytes(push.static_db_version), push.flags, event.peer_host, now_us(), 1, true};
    {
        const std::lock_guard lock(mutex_);
        if (last_) heard.number = last_->number + 1;
        if (last_) heard.changed = last_->version != heard.version;
        last_ = heard;
    }
    if (heard_) heard_(heard);
}

std::optional<announcement_t> AnnouncementListener::last() const
{
    const std::lock_guard lock(mutex_);
    return last_;
}

}  // namespace peers
