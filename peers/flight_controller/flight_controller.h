// A simulated flight controller on the bus: it says who it is, holds the motors when asked to, pushes subscribed data,
// takes announcements and restricted areas, reads the no-fly-zone database back, and flies if it is opened so.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "afqt_wire.h"
#include "common/announcement.h"
#include "common/bus_endpoint.h"
#include "flight_controller/bag_publisher.h"
#include "flight_controller/database_reader.h"
#include "flight_controller/fc_event.h"
#include "flight_controller/flying_aircraft.h"
#include "flight_controller/motor_interlock.h"
#include "flight_controller/restriction_store.h"

namespace peers {

struct fc_identity_t {
    std::string serial = "SIM0000000000001";  // at most 16 characters count
    std::string hardware = "simulated";       // at most 16 characters count
    uint32_t firmware = 0x01000000;           // 1.0.0.0, most significant byte first
    int8_t drone_type = PRODUCT_QX520;        // craft_type_t
};

class FlightController {
public:
    // Opens and starts the endpoint; null with `error` filled. `happened` (may be empty) runs on the endpoint's task.
    // The aircraft stands where bags().set_state() puts it.
    static std::unique_ptr<FlightController> open(const bus_name_t& name, const fc_identity_t& identity,
                                                  const fc_event_fn& happened, bus_open_error_t& error);
    // The same with an aircraft that flies; `happened` runs on the thread that flies it as well.
    static std::unique_ptr<FlightController> open_flying(const bus_name_t& name, const fc_identity_t& identity,
                                                         const flight_options_t& flight, const fc_event_fn& happened,
                                                         bus_open_error_t& error);
    ~FlightController();

    // Ends pushes, flight and callbacks; they cannot start again. Not from a callback.
    void stop();

    FlyingAircraft* aircraft() { return aircraft_ ? &*aircraft_ : nullptr; }  // null: it stands
    // Quality of the fix, 0 to 5; below 3 it is lost. The aircraft flies on as before: it does not fly by this fix.
    void set_gps_level(uint8_t level);

    MotorInterlock& motors() { return motors_; }
    BagPublisher& bags() { return bags_; }
    DatabaseReader& reader() { return reader_; }
    const RestrictionStore& restrictions() const { return restrictions_; }
    const AnnouncementListener& announcements() const { return announcements_; }
    BusEndpoint& endpoint() { return *endpoint_; }

private:
    FlightController(std::unique_ptr<BusEndpoint> endpoint, const fc_identity_t& identity, const fc_event_fn& happened);
    static std::unique_ptr<FlightController> started(std::unique_ptr<FlightController> controller,
                                                     bus_open_error_t& error);
    void answer_who_it_is();
    kest_result_t start();

    const std::unique_ptr<BusEndpoint> endpoint_;
    const fc_identity_t identity_;
    MotorInterlock motors_;
    BagPublisher bags_;
    AnnouncementListener announcements_;
    DatabaseReader reader_;
    RestrictionStore restrictions_;
    std::optional<FlyingAircraft> aircraft_;
};

}  // namespace peers
