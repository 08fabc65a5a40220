#include "stage.h"

#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <thread>

static constexpr const char* ROUTE_CONFIG = "/usr/local/tarn/vela.json";

void shell(const std::string& command)
{
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

bytes_t database(uint32_t version, size_t size)
{
    const peers::nfz_version_t number = {{1, 0, 0, version}};
    return peers::build_nfz_file({number, 1, 1, peers::generate_nfz_content(number, size - peers::NFZ_MIN_SIZE)});
}

// A result that a callback leaves and the test waits for.
template <typename T>
class Mailbox {
public:
    void put(T value)
    {
        const std::lock_guard lock(mutex_);
        value_ = std::move(value);
        changed_.notify_all();
    }
    std::optional<T> wait(std::chrono::milliseconds patience)
    {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, patience, [this] { return value_.has_value(); });
        return value_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::optional<T> value_;
};

Hand::Hand()
{
    peers::bus_open_error_t error;
    endpoint_ = peers::BusEndpoint::open({ROUTE_CONFIG, "factory", "station"}, error);
    EXPECT_NE(endpoint_, nullptr) << error.result;
    if (endpoint_ != nullptr) endpoint_->start();
}

bytes_t Hand::ask(uint16_t peer, uint8_t set, uint8_t id, const bytes_t& payload, std::chrono::milliseconds patience)
{
    auto answer = std::make_shared<Mailbox<bytes_t>>();
    peers::request_t request = {peer, set, id, payload};
    request.timeout_us = 3'600'000'000;  // boot time; the patience is ours, in real time
    request.tries = 1;
    const kest_result_t result = endpoint_->request(request, [answer](const peers::reply_t& reply) {
        bytes_t bytes;
        if (reply.event != nullptr) bytes.assign(reply.event->msg_buf, reply.event->msg_buf + reply.event->msg_len);
        answer->put(bytes);
    });
    if (result != 0) return {};
    return answer->wait(patience).value_or(bytes_t{});
}

Stage::Stage(int scale)
{
    setenv("TARN_TIME_SCALE", std::to_string(scale).c_str(), 1);
    std::filesystem::copy_file(ROUTES, ROUTE_CONFIG);
    tap = std::make_unique<Tap>();
}

void Stage::starts_service()
{
    service.start();
    // The upgrade client answers before the start-up check is over, which may still make the file system read-only.
    ASSERT_TRUE(within(20s, [&] { return service.output().find("tfr_init\n") != std::string::npos; }));
    Hand probe;
    ASSERT_TRUE(within(20s, [&] { return probe.ask(HOST_NFZ_UPGRADE, 0, ID_GET_VERSION, {}, 1s).size() == 30; }))
        << service.log();
}

std::unique_ptr<peers::FlightController> Stage::flight_controller()
{
    peers::bus_open_error_t error;
    return peers::FlightController::open({ROUTE_CONFIG, "flight_controller", "fmu"}, {}, {}, error);
}

std::unique_ptr<peers::AppPeer> Stage::app()
{
    peers::bus_open_error_t error;
    return peers::AppPeer::open({ROUTE_CONFIG, "app", "phone"}, {}, error);
}

peers::upgrade_result_t Stage::app_sends(peers::AppPeer& app, const bytes_t& database,
                                         const peers::upgrade_options_t& options)
{
    Mailbox<peers::upgrade_result_t> result;
    const auto done = [&](const peers::upgrade_result_t& ended) { result.put(ended); };
    EXPECT_EQ(app.upgrade().begin({database, options, {}, done}), 0);
    const auto ended = result.wait(60s);
    EXPECT_TRUE(ended.has_value()) << "the upgrade hangs";
    return ended.value_or(peers::upgrade_result_t{});
}

peers::transfer_result_t Stage::app_delivers(peers::AppPeer& app, const bytes_t& file)
{
    Mailbox<peers::transfer_result_t> result;
    const auto done = [&](const peers::transfer_result_t& ended) { result.put(ended); };
    EXPECT_EQ(app.restrictions().begin({file, {}, {}, done}), 0);
    const auto ended = result.wait(60s);
    EXPECT_TRUE(ended.has_value()) << "the delivery hangs";
    return ended.value_or(peers::transfer_result_t{});
}
