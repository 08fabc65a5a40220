#include "app/app_peer.h"

#include <utility>

namespace peers {

AppPeer::AppPeer(std::unique_ptr<BusEndpoint> endpoint, std::function<void(const announcement_t&)> heard)
    : endpoint_(std::move(endpoint)),
      announcements_(*endpoint_, std::move(heard)),
      upgrade_(*endpoint_),
      restrictions_(*endpoint_)
{
}

std::unique_ptr<AppPeer> AppPeer::open(const bus_name_t& name, std::function<void(const announcement_t&)> heard,
                                       bus_open_error_t& error)
{
    std::unique_ptr<BusEndpoint> endpoint = BusEndpoint::open(name, error);
    if (!endpoint) return nullptr;
    std::unique_ptr<AppPeer> app(new AppPeer(std::move(endpoint), std::move(heard)));
    error.result = app->endpoint_->start();
    if (error.result == 0) return app;
    error.step = bus_step::start;
    return nullptr;
}

}  // namespace peers
