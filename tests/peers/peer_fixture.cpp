#include "peer_fixture.h"

#include "common/digest.h"
#include "flight_v1_wire.h"

Bus::Bus()
{
    std::ofstream(routes()) << R"({"bus_dir": ")" << path("bus") << R"(", "services": {
        "flight_service": {"flight_srv_fmu": {"host": "0x1105"}, "flight_nfz_upgrade": {"host": "0x1106"}},
        "flight_controller": {"fmu": {"host": "0x0306"}},
        "app": {"phone": {"host": "0x0200"}},
        "factory": {"station": {"host": "0x1103"}}}})";
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

std::unique_ptr<peers::AppPeer> Bus::app() const
{
    peers::bus_open_error_t error;
    auto opened = peers::AppPeer::open(name("app", "phone"), {}, error);
    EXPECT_TRUE(opened) << "result " << error.result;
    return opened;
}

faults_t ten_from(uint32_t first, const fault_t& fault)
{
    faults_t faults;
    for (uint32_t i = 0; i < 10; i++)
        faults[first + i] = fault;
    return faults;
}

ScriptedService::ScriptedService(const Bus& bus) : endpoint_(bus.endpoint("flight_service", "flight_nfz_upgrade"))
{
    on(SET_COMMON, ID_UPGRADE_ENTRY, &ScriptedService::entry);
    on(SET_COMMON, ID_UPGRADE_START, &ScriptedService::start);
    on(SET_COMMON, ID_UPGRADE_DATA, &ScriptedService::data);
    on(SET_COMMON, ID_UPGRADE_END, &ScriptedService::end);
    on(SET_FLYLIMIT, ID_NFZ_READ, &ScriptedService::read);
    EXPECT_EQ(endpoint_->start(), 0);
}

void ScriptedService::on(uint8_t set, uint8_t id, handler_t handle)
{
    endpoint_->on_request(set, id, [this, handle](const kest_event_t& event) {
        const std::lock_guard lock(mutex_);
        (this->*handle)(event);
    });
}

void ScriptedService::follow(script_t script)
{
    const std::lock_guard lock(mutex_);
    script_ = std::move(script);
    seen_ = {};
}

ScriptedService::seen_t ScriptedService::seen() const
{
    const std::lock_guard lock(mutex_);
    return seen_;
}

void ScriptedService::entry(const kest_event_t& event)
{
    const bool sized = event.msg_len == UPGRADE_ENTRY_REQ_SIZE;
    const upgrade_request_entry_ack_t ack = {sized ? UPGRADE_RET_OK : UPGRADE_RET_LENGTH, 1, 1};
    last_ = -1;
    seen_.received.clear();
    endpoint_->reply(event, peers::bytes_of(ack));
}

void ScriptedService::start(const kest_event_t& event)
{
    upgrade_request_receive_req_t request = {};
    open_ = peers::read_record(peers::payload_of(event), request);
    const upgrade_request_receive_ack_t ack = {open_ ? UPGRADE_RET_OK : UPGRADE_RET_LENGTH, UPGRADE_FRAG_LENGTH, {}};
    size_ = request.firmware_size;
    endpoint_->reply(event, peers::bytes_of(ack));
}

void ScriptedService::data(const kest_event_t& event)
{
    const fault_t fault = script_.data[static_cast<uint32_t>(seen_.blocks.size())];
    const uint8_t honest = take(peers::payload_of(event), fault);
    const upgrade_data_transfer_ack_t ack = {fault.code.value_or(honest), last_};
    if (fault.answer) endpoint_->reply(event, peers::bytes_of(ack));
}

uint8_t ScriptedService::take(peers::bytes_view payload, const fault_t& fault)
{
    upgrade_data_transfer_req_t request = {};
    peers::read_record(payload, request);
    seen_.blocks.push_back(int32_t{request.block_number});
    if (!open_) return UPGRADE_RET_STATE;
    if (request.block_size != payload.size() - sizeof request) return UPGRADE_RET_LENGTH;
    if (!fault.take) return UPGRADE_RET_OK;
    if (request.block_number != last_ + 1) return UPGRADE_RET_BLOCK_NUMBER;
    last_ = request.block_number;
    seen_.received.insert(seen_.received.end(), payload.begin() + sizeof request, payload.end());
    open_ = seen_.received.size() < size_;
    return UPGRADE_RET_OK;
}

void ScriptedService::end(const kest_event_t& event)
{
    upgrade_end_req_t request = {};
    peers::read_record(peers::payload_of(event), request);
    uint8_t code = open_ ? uint8_t{UPGRADE_RET_STATE} : script_.end_code;
    const peers::md5_digest_t digest = peers::md5_of(seen_.received);
    const bool equal = std::equal(digest.begin(), digest.end(), request.md5);
    if (code == UPGRADE_RET_OK && !equal) code = UPGRADE_RET_RECEIVED_MD5;
    seen_.end_codes.push_back(code);
    if (seen_.end_codes.size() > script_.ends_ignored) endpoint_->reply(event, peers::bytes_of(code));
}

void ScriptedService::read(const kest_event_t& event)
{
    seen_.reads++;
    upgrade_profile_read_file_req_t request = {};
    upgrade_profile_read_file_ack_t ack = {};
    peers::read_record(peers::payload_of(event), request);
    EXPECT_LE(uint32_t{request.read_len}, PROFILE_MAX_READ);
    const bool inside = request.read_addr + uint64_t{request.read_len} <= script_.file.size();
    if (inside) std::copy_n(script_.file.begin() + request.read_addr, request.read_len, ack.read_data);
    ack.ret_code = inside ? PROFILE_RET_OK : PROFILE_RET_SHORT;
    ack.read_addr = request.read_addr;
    const size_t used = offsetof(upgrade_profile_read_file_ack_t, read_data) + request.read_len;
    endpoint_->reply(event, peers::bytes_of(ack).first(inside ? used : sizeof ack));
}

std::vector<uint8_t> with_digest(std::vector<uint8_t> bytes)
{
    const peers::md5_digest_t digest = peers::md5_of(bytes);
    bytes.insert(bytes.end(), digest.begin(), digest.end());
    return bytes;
}
