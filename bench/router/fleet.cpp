#include "fleet.h"

#include <kest_event.h>
#include <kest_mb.h>
#include <tarn_host.h>

#include <atomic>
#include <thread>

#include "pair.h"

namespace {

constexpr auto PERIOD = std::chrono::milliseconds(20);
constexpr uint32_t BAG = 180;

kest_result_t count(kest_event_client_t, const kest_event_t*, void* counter)
{
    ++*static_cast<std::atomic<uint64_t>*>(counter);
    return 0;
}

class endpoint {
public:
    endpoint(const std::string& config, const char* name, std::atomic<uint64_t>& received)
    {
        static constexpr kest_event_cmd_desc_t DESCRIPTOR = {count, nullptr, 0};
        const kest_event_cmd_desc_t* tables[KEST_EVENT_SETS] = {&DESCRIPTOR};
        const uint32_t counts[KEST_EVENT_SETS] = {1};
        kest_mb_route_table_t routes;
        uint16_t host = 0;
        if (kest_mb_create_route_table(config.c_str(), "bench", name, &host, &routes) != 0) fail("route table");
        if (kest_event_create_client(&routes, host, tables, counts, &received, &client_) != 0) fail("create client");
        kest_mb_destroy_route_table(&routes);
        if (kest_event_start_client(client_) != 0) fail("start client");
    }
    ~endpoint() { tarn_client_close(client_); }
    endpoint(const endpoint&) = delete;
    endpoint& operator=(const endpoint&) = delete;
    kest_event_client_t get() const { return client_; }

private:
    kest_event_client_t client_ = nullptr;
};

}  // namespace

fleet_load measure_fleet(const rig& routers, size_t aircraft, double seconds)
{
    std::atomic<uint64_t> received = 0;
    std::atomic<uint64_t> unused = 0;
    std::vector<std::unique_ptr<endpoint>> apps;
    std::vector<std::unique_ptr<endpoint>> services;
    for (size_t i = 0; i < aircraft; ++i) {
        apps.push_back(std::make_unique<endpoint>(routers.ground_routes(i), "app", received));
        services.push_back(std::make_unique<endpoint>(routers.aircraft_routes(i), "service", unused));
    }
    kest_event_t bag{};
    bag.peer_host = 0x0200;
    bag.msg_len = BAG;
    uint64_t sent = 0;
    const double ground = routers.ground_cpu();
    const double first = routers.aircraft_cpu();
    const auto begin = clock_type::now();
    for (auto next = begin; us_since(begin) < seconds * 1e6; next += PERIOD) {
        for (const auto& service : services)
            sent += kest_event_send(service->get(), &bag) == 0 ? 1 : 0;
        std::this_thread::sleep_until(next + PERIOD);
    }
    const double took = us_since(begin) / 1e6;
    const double ground_percent = 100 * (routers.ground_cpu() - ground) / took;
    const double aircraft_percent = 100 * (routers.aircraft_cpu() - first) / took;
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    return {ground_percent, aircraft_percent, 100 * static_cast<double>(received) / static_cast<double>(sent)};
}
