#include "stage.h"

#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <thread>

static constexpr const char* ROUTE_CONFIG = "/usr/local/tarn/vela.json";

bytes_t file_bytes(const char* path)
{
    std::ifstream file(path, std::ios::binary);
    return bytes_t(std::istreambuf_iterator<char>(file), {});
}

void write_file(const std::string& path, const bytes_t& content)
{
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    ASSERT_TRUE(file.good()) << path;
}

void shell(const std::string& command)
{
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

void mounts_nfz(const std::string& size)
{
    shell("umount /tmp/NFZ 2>/dev/null; echo 'tmpfs /tmp/NFZ tmpfs size=" + size +
          " 0 0' >/etc/fstab && mount /tmp/NFZ");
}

bytes_t database(uint32_t version, size_t size)
{
    const peers::nfz_version_t number = {{1, 0, 0, version}};
    return peers::build_nfz_file({number, 1, 1, peers::generate_nfz_content(number, size - peers::NFZ_MIN_SIZE)});
}

bool within(std::chrono::milliseconds limit, const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(2ms);
    }
    return true;
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

Hand::Hand(const char* service, const char* endpoint)
{
    peers::bus_open_error_t error;
    endpoint_ = peers::BusEndpoint::open({ROUTE_CONFIG, service, endpoint}, error);
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

int Hand::code(uint8_t id, const bytes_t& payload)
{
    const bytes_t reply = ask(HOST_NFZ_UPGRADE, SET_COMMON, id, payload);
    return reply.empty() ? -1 : reply[0];
}

int Hand::entry()
{
    return code(ID_UPGRADE_ENTRY, bytes_t(UPGRADE_ENTRY_REQ_SIZE));
}

int Hand::start(uint32_t size)
{
    upgrade_request_receive_req_t request = {};
    request.firmware_size = size;
    return code(ID_UPGRADE_START, bytes_of(request));
}

int Hand::block(int32_t number, const bytes_t& database, size_t block_size)
{
    const size_t from = static_cast<size_t>(number) * block_size;
    const size_t to = std::min(from + block_size, database.size());
    bytes_t payload = bytes_of(upgrade_data_transfer_req_t{0, number, static_cast<uint16_t>(to - from)});
    payload.insert(payload.end(), database.begin() + static_cast<long>(from), database.begin() + static_cast<long>(to));
    const bytes_t reply = ask(HOST_NFZ_UPGRADE, SET_COMMON, ID_UPGRADE_DATA, payload);
    if (reply.size() != sizeof(upgrade_data_transfer_ack_t)) return -1;
    last_block_ = record_of<upgrade_data_transfer_ack_t>(reply).block_number;
    return reply[0];
}

int Hand::end(const bytes_t& database)
{
    upgrade_end_req_t request = {};
    const peers::md5_digest_t digest = peers::md5_of(database);
    std::copy(digest.begin(), digest.end(), request.md5);
    return code(ID_UPGRADE_END, bytes_of(request));
}

void Hand::sends_blocks(const bytes_t& database, int32_t blocks)
{
    ASSERT_EQ(entry(), 0);
    ASSERT_EQ(start(static_cast<uint32_t>(database.size())), 0);
    for (int32_t i = 0; i < blocks; ++i)
        ASSERT_EQ(block(i, database), 0) << i;
}

int Hand::sends(const bytes_t& database)
{
    sends_blocks(database, static_cast<int32_t>((database.size() + UPGRADE_FRAG_LENGTH - 1) / UPGRADE_FRAG_LENGTH));
    return end(database);
}

bytes_t Hand::reads(uint32_t address, uint32_t length)
{
    return ask(HOST_NFZ_UPGRADE, SET_FLYLIMIT, ID_NFZ_READ,
               bytes_of(upgrade_profile_read_file_req_t{0, address, length}));
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
    Hand probe("factory", "station");
    ASSERT_TRUE(within(20s, [&] { return probe.ask(HOST_NFZ_UPGRADE, 0, ID_GET_VERSION, {}, 1s).size() == 30; }))
        << service.log();
}

void Stage::restarts_service()
{
    service.kill();
    starts_service();
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

void Stage::expect_next_upgrade_works(Hand& hand, uint32_t version)
{
    const bytes_t next = database(version);
    EXPECT_EQ(hand.sends(next), UPGRADE_RET_OK) << service.log();
    EXPECT_EQ(file_bytes(DATABASE), next);
    const bytes_t answer = hand.reads(100, 50);
    ASSERT_EQ(answer.size(), 55u);
    EXPECT_TRUE(std::equal(answer.begin() + 5, answer.end(), next.begin() + 100));
}
