#include "factory/test_station.h"

#include <utility>

namespace peers {

TestStation::TestStation(std::unique_ptr<BusEndpoint> endpoint, station_events_t events)
    : endpoint_(std::move(endpoint)), events_(std::move(events))
{
    endpoint_->on_request(SET_AFQT, CMD_ID_AFQT_MSG, [this](const kest_event_t& event) { on_message(event); });
    endpoint_->on_request(SET_AFQT, CMD_ID_AFQT_CMD, [this](const kest_event_t& event) { on_notice(event); });
}

std::unique_ptr<TestStation> TestStation::open(const bus_name_t& name, station_events_t events, bus_open_error_t& error)
{
    std::unique_ptr<BusEndpoint> endpoint = BusEndpoint::open(name, error);
    if (!endpoint) return nullptr;
    std::unique_ptr<TestStation> station(new TestStation(std::move(endpoint), std::move(events)));
    error.result = station->endpoint_->start();
    if (error.result == 0) return station;
    error.step = bus_step::start;
    return nullptr;
}

kest_result_t TestStation::switch_test(AfqtCmdEnum state, uint8_t file_index, uint16_t service)
{
    return endpoint_->send(service, SET_AFQT, CMD_ID_AFQT_CMD, bytes_of(afqt_on_off_cmd_t{state, 0, file_index}));
}

void TestStation::on_message(const kest_event_t& event)
{
    afqt_heart_beat_msg_t message;
    if (!read_record(payload_of(event), message) || message.msg_id != MSG_ID_HEART_BEAT) return;
    if (events_.heartbeat) events_.heartbeat(event.peer_host, message.beat);
}

void TestStation::on_notice(const kest_event_t& event)
{
    afqt_on_off_cmd_t notice;
    if (read_record(payload_of(event), notice) && events_.notice) events_.notice(event.peer_host, notice);
}

}  // namespace peers
