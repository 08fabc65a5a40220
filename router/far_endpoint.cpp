#include "far_endpoint.h"

#include <array>
#include <vector>

#include "kest_mb.h"
#include "link_message.h"
#include "tarn_host.h"

namespace router {
namespace {

constexpr size_t IDS = 0x10000;  // every id that a record can name

}  // namespace

std::unique_ptr<FarEndpoint> FarEndpoint::open(const link_config_t& link, const address_pair_t& address, Wire& wire,
                                               const std::atomic<uint32_t>& session, counters_t& counters,
                                               kest_result_t& result)
{
    std::unique_ptr<FarEndpoint> endpoint(new FarEndpoint(address.far, wire, session, counters));
    result = endpoint->create(link, address);
    if (result != 0) return nullptr;
    return endpoint;
}

FarEndpoint::~FarEndpoint()
{
    tarn_client_close(client_);
}

// One callback for every set and id: the router passes on what it does not understand.
kest_result_t FarEndpoint::create(const link_config_t& link, const address_pair_t& address)
{
    static const std::vector<kest_event_cmd_desc_t> descriptors(IDS, {&record_cb, &record_cb, 0});
    std::array<const kest_event_cmd_desc_t*, KEST_EVENT_SETS> tables;
    std::array<uint32_t, KEST_EVENT_SETS> counts;
    tables.fill(descriptors.data());
    counts.fill(static_cast<uint32_t>(descriptors.size()));
    kest_mb_route_table_t routes = {};
    uint16_t host = 0;
    kest_result_t result = kest_mb_create_route_table(link.routes.c_str(), address.service.c_str(),
                                                      address.endpoint.c_str(), &host, &routes);
    if (result != 0) return result;
    result = kest_event_create_client(&routes, host, tables.data(), counts.data(), this, &client_);
    kest_mb_destroy_route_table(&routes);
    return result == 0 ? kest_event_start_client(client_) : result;
}

void FarEndpoint::on_record(const kest_event_t& event)
{
    std::array<uint8_t, LINK_MESSAGE_MAX> bytes;
    const link_head_t head = {LINK_VERSION, static_cast<uint8_t>(message_kind::record), event.peer_host, far_,
                              session_};
    const size_t size = write_message(head, event, bytes);
    switch (wire_.send({bytes.data(), size})) {
        case sent::ok:
            ++counters_.sent;
            break;
        case sent::full:
            counters_.count_drop(DROP_LINK_FULL, far_);
            break;
        case sent::gone:
            counters_.count_drop(DROP_LINK_DOWN, far_);
            break;
    }
}

kest_result_t FarEndpoint::record_cb(kest_event_client_t, const kest_event_t* event, void* userdata)
{
    static_cast<FarEndpoint*>(userdata)->on_record(*event);
    return 0;
}

}  // namespace router
