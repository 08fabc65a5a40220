#include "real_world.h"

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>

RealWorld::RealWorld(uint64_t scale) : scale_(scale)
{
    setenv("TARN_TIME_SCALE", std::to_string(scale).c_str(), 1);
    auto config = nlohmann::ordered_json::parse(file_bytes(ROUTES));
    config["services"][TABLET.service][TABLET.endpoint] = {{"host", "0x0201"}};
    std::ofstream(ROUTE_FILE) << config.dump(2) << "\n";
    for (const char* folder : {"/tmp/SD0/factory_test/afqt", "/tmp/blackbox/log/afqt"})
        std::filesystem::create_directories(folder);
    routes = ROUTE_FILE;
    with_tap();
}

void RealWorld::launch_under(const std::vector<std::string>& before)
{
    service_.start(before);
    const auto checked = [this] {
        if (!service_.runs()) throw broken_t("the service ended while it came up: " + service_.log());
        return service_.is_up();
    };
    const auto answers = [this] { return ask(STATION, HOST_NFZ_UPGRADE, SET_COMMON, ID_GET_VERSION, {}).size() == 30; };
    if (!until(checked, 20 * SECOND_US * scale_) || !until(answers, 20 * SECOND_US * scale_))
        throw broken_t("the service does not come up: " + service_.log());
    was_launched();
}

bool RealWorld::until(const std::function<bool()>& condition, uint64_t limit_us)
{
    const auto limit = std::max(std::chrono::microseconds(limit_us / scale_), std::chrono::microseconds(5'000'000));
    return within(std::chrono::duration_cast<std::chrono::milliseconds>(limit), condition);
}

void RealWorld::pass(uint64_t us)
{
    std::this_thread::sleep_for(std::chrono::microseconds(us / scale_));
}

std::vector<seen_t> RealWorld::sent(const std::function<bool(const seen_t&)>& matches) const
{
    return tap_->all([&](const seen_t& seen) { return seen.head.direction == 0 && matches(seen); });
}

void RealWorld::forget()
{
    std::this_thread::sleep_for(30ms);  // what was sent before may still be on its way to the tap
    tap_->forget();
}
