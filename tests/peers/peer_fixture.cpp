#include "peer_fixture.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "flight_v1_wire.h"
#include "nfz_file/nfz_file.h"

bool soon(const std::function<bool()>& is_true)
{
    for (int i = 0; i < 5000; i++) {
        if (is_true()) return true;
        std::this_thread::sleep_for(1ms);
    }
    return false;
}

Bus::Bus()
{
    char name[] = "/tmp/peers.XXXXXX";
    directory_ = mkdtemp(name);
    std::ofstream(routes()) << R"({"bus_dir": ")" << directory_ << R"(/bus", "services": {
        "flight_service": {"flight_srv_fmu": {"host": "0x1105"}, "flight_nfz_upgrade": {"host": "0x1106"}},
        "flight_controller": {"fmu": {"host": "0x0306"}},
        "app": {"phone": {"host": "0x0200"}},
        "factory": {"station": {"host": "0x1103"}}}})";
}

Bus::~Bus()
{
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

peers::bus_name_t Bus::name(const std::string& service, const std::string& endpoint) const
{
    return {routes(), service, endpoint};
}

std::unique_ptr<peers::BusEndpoint> Bus::endpoint(const std::string& service, const std::string& name_of_it) const
{
    peers::bus_open_error_t error;
    auto opened = peers::BusEndpoint::open(name(service, name_of_it), error);
    EXPECT_TRUE(opened) << "result " << error.result;
    return opened;
}

ScriptedService::ScriptedService(const Bus& bus) : endpoint_(bus.endpoint("flight_service", "flight_nfz_upgrade"))
{
    endpoint_->on_request(SET_COMMON, ID_UPGRADE_ENTRY, [this](const kest_event_t& event) { entry(event); });
    endpoint_->on_request(SET_COMMON, ID_UPGRADE_START, [this](const kest_event_t& event) { start(event); });
    endpoint_->on_request(SET_COMMON, ID_UPGRADE_DATA, [this](const kest_event_t& event) { data(event); });
    endpoint_->on_request(SET_COMMON, ID_UPGRADE_END, [this](const kest_event_t& event) { end(event); });
    endpoint_->on_request(SET_FLYLIMIT, ID_NFZ_READ, [this](const kest_event_t& event) { read(event); });
    EXPECT_EQ(endpoint_->start(), 0);
}

void ScriptedService::entry(const kest_event_t& event)
{
    const std::lock_guard lock(mutex_);
    const bool sized = event.msg_len == UPGRADE_ENTRY_REQ_SIZE;
    const upgrade_request_entry_ack_t ack = {sized ? UPGRADE_RET_OK : UPGRADE_RET_LENGTH, 1, 1};
    last_ = -1;
    received_.clear();
    endpoint_->reply(event, peers::bytes_of(ack));
}

void ScriptedService::start(const kest_event_t& event)
{
    const std::lock_guard lock(mutex_);
    upgrade_request_receive_req_t request = {};
    upgrade_request_receive_ack_t ack = {UPGRADE_RET_LENGTH, UPGRADE_FRAG_LENGTH, {}};
    if (peers::read_record(peers::payload_of(event), request)) ack.ret_code = UPGRADE_RET_OK;
    size_ = request.firmware_size;
    open_ = true;
    endpoint_->reply(event, peers::bytes_of(ack));
}

ScriptedService::fault_t ScriptedService::fault_now()
{
    const uint32_t request = data_requests_++;
    for (const auto& [number, fault] : faults_) {
        if (number == request) return fault;
    }
    return {};
}

void ScriptedService::data(const kest_event_t& event)
{
    const std::lock_guard lock(mutex_);
    const fault_t fault = fault_now();
    const uint8_t honest = take(peers::payload_of(event), fault);
    if (!fault.answer) return;
    const upgrade_data_transfer_ack_t ack = {fault.code.value_or(honest), last_};
    endpoint_->reply(event, peers::bytes_of(ack));
}

uint8_t ScriptedService::take(peers::bytes_view payload, const fault_t& fault)
{
    upgrade_data_transfer_req_t request = {};
    peers::read_record(payload, request);
    block_numbers_.push_back(int32_t{request.block_number});
    if (!open_) return UPGRADE_RET_STATE;
    if (request.block_size != payload.size() - sizeof request) return UPGRADE_RET_LENGTH;
    if (!fault.take) return UPGRADE_RET_OK;
    if (request.block_number != last_ + 1) return UPGRADE_RET_BLOCK_NUMBER;
    last_ = request.block_number;
    received_.insert(received_.end(), payload.begin() + sizeof request, payload.end());
    open_ = received_.size() < size_;
    return UPGRADE_RET_OK;
}

void ScriptedService::end(const kest_event_t& event)
{
    const std::lock_guard lock(mutex_);
    upgrade_end_req_t request = {};
    peers::read_record(peers::payload_of(event), request);
    uint8_t code = open_ ? uint8_t{UPGRADE_RET_STATE} : end_code_;
    const peers::md5_digest_t digest = peers::md5_of(received_);
    if (code == UPGRADE_RET_OK && !std::equal(digest.begin(), digest.end(), request.md5)) {
        code = UPGRADE_RET_RECEIVED_MD5;
    }
    end_codes_.push_back(code);
    if (ends_ignored_ > 0) {
        ends_ignored_--;
        return;
    }
    endpoint_->reply(event, peers::bytes_of(code));
}

void ScriptedService::read(const kest_event_t& event)
{
    const std::lock_guard lock(mutex_);
    reads_++;
    upgrade_profile_read_file_req_t request = {};
    upgrade_profile_read_file_ack_t ack = {};
    peers::read_record(peers::payload_of(event), request);
    if (request.read_len > PROFILE_MAX_READ) ack.ret_code = PROFILE_RET_TOO_LONG;
    if (request.read_addr + uint64_t{request.read_len} > file_.size()) ack.ret_code = PROFILE_RET_SHORT;
    const peers::bytes_view whole = peers::bytes_of(ack);
    if (ack.ret_code != PROFILE_RET_OK) {
        endpoint_->reply(event, whole);
        return;
    }
    ack.read_addr = request.read_addr;
    std::copy_n(file_.begin() + request.read_addr, request.read_len, ack.read_data);
    endpoint_->reply(event, whole.first(offsetof(upgrade_profile_read_file_ack_t, read_data) + request.read_len));
}

void ScriptedService::on_data(uint32_t request, const fault_t& fault)
{
    const std::lock_guard lock(mutex_);
    faults_.emplace_back(request, fault);
}

void ScriptedService::answer_end(uint8_t code)
{
    const std::lock_guard lock(mutex_);
    end_code_ = code;
}

void ScriptedService::ignore_end_requests(uint32_t count)
{
    const std::lock_guard lock(mutex_);
    ends_ignored_ = count;
}

void ScriptedService::serve(std::vector<uint8_t> file)
{
    const std::lock_guard lock(mutex_);
    file_ = std::move(file);
}

std::vector<uint8_t> ScriptedService::received() const
{
    const std::lock_guard lock(mutex_);
    return received_;
}

std::vector<int32_t> ScriptedService::block_numbers() const
{
    const std::lock_guard lock(mutex_);
    return block_numbers_;
}

std::vector<uint8_t> ScriptedService::end_codes() const
{
    const std::lock_guard lock(mutex_);
    return end_codes_;
}

uint32_t ScriptedService::reads() const
{
    const std::lock_guard lock(mutex_);
    return reads_;
}

namespace {

// One result handed from a callback to the test.
template <class Result>
class Box {
public:
    void put(const Result& result)
    {
        const std::lock_guard lock(mutex_);
        result_ = result;
        arrived_.notify_all();
    }
    Result take()
    {
        std::unique_lock lock(mutex_);
        const bool came = arrived_.wait_for(lock, 20s, [this] { return result_.has_value(); });
        EXPECT_TRUE(came) << "no result";
        return came ? *result_ : Result{};
    }

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::optional<Result> result_;
};

}  // namespace

peers::upgrade_result_t upgraded(peers::AppPeer& app, std::vector<uint8_t> database,
                                 const peers::upgrade_options_t& options)
{
    Box<peers::upgrade_result_t> box;
    EXPECT_EQ(app.upgrade().begin(
                  {std::move(database), options, {}, [&](const peers::upgrade_result_t& result) { box.put(result); }}),
              0);
    return box.take();
}

peers::transfer_result_t delivered(peers::AppPeer& app, std::vector<uint8_t> file, const peers::tfr_options_t& options)
{
    Box<peers::transfer_result_t> box;
    EXPECT_EQ(app.restrictions().begin(
                  {std::move(file), options, {}, [&](const peers::transfer_result_t& result) { box.put(result); }}),
              0);
    return box.take();
}

peers::read_result_t read_back(peers::DatabaseReader& reader, peers::read_job_t job)
{
    Box<peers::read_result_t> box;
    job.done = [&](const peers::read_result_t& result) { box.put(result); };
    EXPECT_EQ(reader.begin(std::move(job)), 0);
    return box.take();
}
