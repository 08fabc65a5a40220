#include "peer_fixture.h"

#include "common/digest.h"
#include "flight_v1_wire.h"
#include "tfr_wire.h"

using sim::bytes_t;

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

ScriptedService::ScriptedService(const Bus& bus)
    : upgrades_(bus.endpoint("flight_service", "flight_nfz_upgrade")),
      deliveries_(bus.endpoint("flight_service", "flight_srv_fmu"))
{
    for (const uint8_t id : {ID_UPGRADE_ENTRY, ID_UPGRADE_START, ID_UPGRADE_DATA, ID_UPGRADE_END})
        on(*upgrades_, SET_COMMON, id);
    on(*upgrades_, SET_FLYLIMIT, ID_NFZ_READ);
    on(*deliveries_, SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE);
    EXPECT_EQ(upgrades_->start(), 0);
    EXPECT_EQ(deliveries_->start(), 0);
}

ScriptedService::~ScriptedService()
{
    upgrades_->stop();
    deliveries_->stop();
}

void ScriptedService::on(peers::BusEndpoint& endpoint, uint8_t set, uint8_t id)
{
    endpoint.on_request(set, id, [this, &endpoint](const kest_event_t& request) {
        const std::lock_guard lock(mutex_);
        const fault_t fault = faults_[requests_++];
        story_ += (story_.empty() ? "" : " ") + name_of(request);
        if (fault.restart) model_.restarts();
        const peers::bytes_view payload = peers::payload_of(request);
        const auto honest = [&] {
            return *model_.answer(endpoint.host(), request.peer_host, request.msg_id, {payload.begin(), payload.end()});
        };
        bytes_t reply = fault.take ? honest() : refused_by_the_disk(request, fault);
        if (fault.code) reply[0] = *fault.code;
        if (fault.reply) reply = *fault.reply;
        if (fault.answer) endpoint.reply(request, reply);
    });
}

std::string ScriptedService::name_of(const kest_event_t& request)
{
    const peers::bytes_view payload = peers::payload_of(request);
    if (request.msg_id >> 16 == SET_FLIGHT_CONTROLLER) {
        update_tfr_req_t fragment = {};
        EXPECT_TRUE(peers::read_record(payload, fragment));
        EXPECT_EQ(payload.size(), sizeof fragment + fragment.data_size);
        if (fragment.type != UPDATE_DATA) return fragment.type == UPDATE_REQ ? "s" : "f";
        return std::to_string(fragment.pkg_seq);
    }
    upgrade_data_transfer_req_t block = {};
    switch (peers::id_of(request)) {
        case ID_UPGRADE_ENTRY:
            return "e";
        case ID_UPGRADE_START:
            return "s";
        case ID_UPGRADE_DATA:
            EXPECT_TRUE(peers::read_record(payload, block));
            return std::to_string(block.block_number);
        case ID_UPGRADE_END:
            return "f";
        default:
            return "r";
    }
}

bytes_t ScriptedService::refused_by_the_disk(const kest_event_t& request, const fault_t& fault)
{
    if (peers::set_of(request) == SET_COMMON) return model_.upgrade.does_not_fit();
    return model_.areas.does_not_fit(bytes_t(fault.litter ? 1 : 0));
}

void ScriptedService::follow(faults_t faults)
{
    const std::lock_guard lock(mutex_);
    faults_ = std::move(faults);
    requests_ = 0;
    story_.clear();
}

std::string ScriptedService::story() const
{
    const std::lock_guard lock(mutex_);
    return story_;
}

void ScriptedService::holds(bytes_t database)
{
    const std::lock_guard lock(mutex_);
    const upgrade_request_receive_req_t start = {.firmware_size = static_cast<uint32_t>(database.size())};
    database.resize(std::max<size_t>(database.size(), NFZ_MIN_FIRST_BLOCK));
    model_.upgrade = sim::UpgradeModel({});
    for (const bytes_t& data : {database, bytes_t()}) {
        const upgrade_data_transfer_req_t head = {.block_size = static_cast<uint16_t>(data.size())};
        bytes_t block = record_bytes(head);
        block.insert(block.end(), data.begin(), data.end());
        model_.upgrade.entry(HOST_APP, bytes_t(UPGRADE_ENTRY_REQ_SIZE));
        model_.upgrade.start(record_bytes(start));
        model_.upgrade.data(block);
    }
}

bytes_t ScriptedService::database() const
{
    const std::lock_guard lock(mutex_);
    return model_.upgrade.file();
}

bytes_t ScriptedService::areas() const
{
    const std::lock_guard lock(mutex_);
    return model_.areas.file();
}

std::vector<uint8_t> with_digest(std::vector<uint8_t> bytes)
{
    const peers::md5_digest_t digest = peers::md5_of(bytes);
    bytes.insert(bytes.end(), digest.begin(), digest.end());
    return bytes;
}
