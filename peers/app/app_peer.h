// The mobile app on the bus: sends database upgrades and restrictions, and hears which database the aircraft announces.
#pragma once

#include <functional>
#include <memory>

#include "app/tfr_sender.h"
#include "app/upgrade_sender.h"
#include "common/announcement.h"
#include "common/bus_endpoint.h"

namespace peers {

class AppPeer {
public:
    // Opens and starts the endpoint; null with `error` filled. `heard` (may be empty) runs on the endpoint's task.
    static std::unique_ptr<AppPeer> open(const bus_name_t& name, std::function<void(const announcement_t&)> heard,
                                         bus_open_error_t& error);
    ~AppPeer() { endpoint_->stop(); }

    UpgradeSender& upgrade() { return upgrade_; }
    TfrSender& restrictions() { return restrictions_; }
    const AnnouncementListener& announcements() const { return announcements_; }
    BusEndpoint& endpoint() { return *endpoint_; }

private:
    AppPeer(std::unique_ptr<BusEndpoint> endpoint, std::function<void(const announcement_t&)> heard);

    const std::unique_ptr<BusEndpoint> endpoint_;
    AnnouncementListener announcements_;
    UpgradeSender upgrade_;
    TfrSender restrictions_;
};

}  // namespace peers
