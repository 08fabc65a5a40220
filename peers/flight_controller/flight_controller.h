// A simulated flight controller on the bus: it says who it is, holds the motors when asked to, pushes subscribed data,
// takes announcements and restricted areas, and reads the no-fly-zone database back.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "common/announcement.h"
#include "common/bus_endpoint.h"
#include "flight_controller/bag_publisher.h"
#include "flight_controller/database_reader.h"
#include "flight_controller/fc_event.h"
#include "flight_controller/motor_interlock.h"
#include "flight_controller/restriction_store.h"

namespace peers {

struct fc_identity_t {
    std::string serial = "SIM0000000000001";  // at most 16 characters count
    std::string hardware = "simulated";       // at most 16 characters count
    uint32_t firmware = 0x01000000;           // 1.0.0.0, most significant byte first
    int8_t drone_type = 1;                    // craft type
};

class FlightController {
public:
    // Opens and starts the endpoint; null with `error` filled. `happened` (may be empty) runs on the endpoint's task.
    static std::unique_ptr<FlightController> open(const bus_name_t& name, const fc_identity_t& identity,
                                                  const fc_event_fn& happened, bus_open_error_t& error);
    ~FlightController();

    MotorInterlock& motors() { return motors_; }
    BagPublisher& bags() { return bags_; }
    DatabaseReader& reader() { return reader_; }
    const RestrictionStore& restrictions() const { return restrictions_; }
    const AnnouncementListener& announcements() const { return announcements_; }
    BusEndpoint& endpoint() { return *endpoint_; }

private:
    FlightController(std::unique_ptr<BusEndpoint> endpoint, const fc_identity_t& identity, const fc_event_fn& happened);
    void answer_who_it_is();

    const std::unique_ptr<BusEndpoint> endpoint_;
    const fc_identity_t identity_;
    MotorInterlock motors_;
    BagPublisher bags_;
    AnnouncementListener announcements_;
    DatabaseReader reader_;
    RestrictionStore restrictions_;
};

}  // namespace peers
