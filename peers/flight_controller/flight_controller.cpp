#include "flight_controller/flight_controller.h"

#include <algorithm>
#include <utility>

#include "afqt_wire.h"
#include "common/clock.h"
#include "flight_v1_wire.h"

namespace peers {
namespace {

template <size_t N>
void copy_text(const std::string& text, uint8_t (&field)[N])
{
    std::copy_n(text.begin(), std::min(text.size(), N), field);
}

cmd_get_version_t version_of(const fc_identity_t& identity)
{
    cmd_get_version_t version = {};
    version.ver = 0x10;  // 1.0
    copy_text(identity.hardware, version.hardware_ver);
    version.firmware_ver = identity.firmware;
    return version;
}

sn_request_ack_t serial_of(const fc_identity_t& identity)
{
    sn_request_ack_t serial = {};
    copy_text(identity.serial, serial.sn);
    return serial;
}

std::function<void(const announcement_t&)> as_event(const fc_event_fn& happened)
{
    if (!happened) return {};
    return [happened](const announcement_t& heard) {
        fc_event_t what = {fc_event_kind::announcement, heard.time_us, heard.from};
        what.heard = heard;
        happened(what);
    };
}

}  // namespace

FlightController::FlightController(std::unique_ptr<BusEndpoint> endpoint, const fc_identity_t& identity,
                                   const fc_event_fn& happened)
    : endpoint_(std::move(endpoint)),
      identity_(identity),
      motors_(*endpoint_, happened),
      bags_(*endpoint_, happened),
      announcements_(*endpoint_, as_event(happened)),
      reader_(*endpoint_),
      restrictions_(*endpoint_, happened)
{
    answer_who_it_is();
}

FlightController::~FlightController()
{
    stop();
}

// The endpoint last: pushes send through it.
void FlightController::stop()
{
    if (aircraft_) aircraft_->stop();
    bags_.stop();
    endpoint_->stop();
}

void FlightController::set_gps_level(uint8_t level)
{
    bags_.update([level](aircraft_state_t& state) { state.gps_level = level; });
}

void FlightController::answer_who_it_is()
{
    endpoint_->on_request(SET_COMMON, ID_GET_VERSION, [this](const kest_event_t& event) {
        endpoint_->reply(event, bytes_of(version_of(identity_)));
    });
    endpoint_->on_request(SET_FLIGHT_CONTROLLER, CMD_ID_GET_PRODUCT_TYPE, [this](const kest_event_t& event) {
        endpoint_->reply(event, bytes_of(cmd_get_drone_type_t{identity_.drone_type}));
    });
    endpoint_->on_request(SET_FLIGHT_CONTROLLER, CMD_ID_GET_PRODUCT_ID, [this](const kest_event_t& event) {
        endpoint_->reply(event, bytes_of(serial_of(identity_)));
    });
}

std::unique_ptr<FlightController> FlightController::open(const bus_name_t& name, const fc_identity_t& identity,
                                                         const fc_event_fn& happened, bus_open_error_t& error)
{
    std::unique_ptr<BusEndpoint> endpoint = BusEndpoint::open(name, error);
    if (!endpoint) return nullptr;
    std::unique_ptr<FlightController> controller(new FlightController(std::move(endpoint), identity, happened));
    return started(std::move(controller), error);
}

std::unique_ptr<FlightController> FlightController::open_flying(const bus_name_t& name, const fc_identity_t& identity,
                                                                const flight_options_t& flight,
                                                                const fc_event_fn& happened, bus_open_error_t& error)
{
    std::unique_ptr<BusEndpoint> endpoint = BusEndpoint::open(name, error);
    if (!endpoint) return nullptr;
    std::unique_ptr<FlightController> controller(new FlightController(std::move(endpoint), identity, happened));
    controller->aircraft_.emplace(*controller->endpoint_, controller->bags_, controller->motors_, flight, happened);
    return started(std::move(controller), error);
}

std::unique_ptr<FlightController> FlightController::started(std::unique_ptr<FlightController> controller,
                                                            bus_open_error_t& error)
{
    error.result = controller->start();
    if (error.result == 0) return controller;
    error.step = bus_step::start;
    return nullptr;
}

kest_result_t FlightController::start()
{
    const kest_result_t result = endpoint_->start();
    return result == 0 && aircraft_ ? aircraft_->start() : result;
}

}  // namespace peers
