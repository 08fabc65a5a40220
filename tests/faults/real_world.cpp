// On the real bus: the service is a process, and time is twenty times faster.
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "place.h"
#include "real_world.h"

using std::chrono_literals::operator""ms;

namespace {

constexpr const char* ROUTE_FILE = "/usr/local/tarn/vela.json";
constexpr const char* ROUTE_TEXT = R"({
  "bus_dir": "/run/tarn",
  "services": {
    "flight_service": {"flight_srv_fmu": {"host": "0x1105"}, "flight_nfz_upgrade": {"host": "0x1106"}},
    "flight_controller": {"fmu": {"host": "0x0306"}},
    "app": {"phone": {"host": "0x0200"}, "tablet": {"host": "0x0201"}},
    "factory": {"station": {"host": "0x1103"}}
  },
  "tap": "/run/tarn/tap.sock"
})";

}  // namespace

RealWorld::RealWorld()
{
    setenv("TARN_TIME_SCALE", std::to_string(SCALE).c_str(), 1);
    std::ofstream(ROUTE_FILE) << ROUTE_TEXT;
    for (const char* folder : {"/tmp/SD0/factory_test/afqt", "/tmp/blackbox/log/afqt"})
        std::filesystem::create_directories(folder);
    routes = ROUTE_FILE;
    tap_ = std::make_unique<Tap>();
}

RealWorld::~RealWorld()
{
    everybody_leaves();
}

void RealWorld::launch()
{
    launch_under({});
}

void RealWorld::launch_under(const std::vector<std::string>& before)
{
    service_.start(before);
    // The upgrade client answers before the start-up check is over, which may still make the file system read-only.
    const auto checked = [this] {
        if (!service_.runs()) throw broken_t("the service ended while it came up: " + service_.log());
        return service_.output().find("tfr_init\n") != std::string::npos;
    };
    const auto answers = [this] { return ask(STATION, HOST_NFZ_UPGRADE, SET_COMMON, ID_GET_VERSION, {}).size() == 30; };
    if (!until(checked, 20 * SECOND_US * SCALE) || !until(answers, 20 * SECOND_US * SCALE))
        throw broken_t("the service does not come up: " + service_.log());
    was_launched();
}

void RealWorld::kill()
{
    service_.kill();
}

bool RealWorld::runs()
{
    return service_.runs();
}

std::string RealWorld::log() const
{
    return service_.output() + service_.log();
}

size_t RealWorld::open_files()
{
    return service_.descriptors();
}

bool RealWorld::until(const std::function<bool()>& condition, uint64_t limit_us)
{
    const auto limit = std::max(std::chrono::microseconds(limit_us / SCALE), std::chrono::microseconds(5'000'000));
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

void RealWorld::pass(uint64_t us)
{
    std::this_thread::sleep_for(std::chrono::microseconds(us / SCALE));
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

RealWorld& real(Run& run)
{
    return static_cast<RealWorld&>(run.world);
}

const place_t THIS_PLACE = place_t::bus;

std::vector<row_t> own_rows()
{
    std::vector<row_t> rows;
    for (const auto some : {disk_rows(), machine_rows(), soak_rows()})
        rows.insert(rows.end(), some.begin(), some.end());
    return rows;
}

std::unique_ptr<World> make_world(uint64_t)
{
    return std::make_unique<RealWorld>();
}
