// An aircraft that flies, as arithmetic: no bus, no clock, and the same calls always give the same flight.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "flight_controller/control_loops.h"
#include "flight_controller/stick_pilot.h"

namespace peers {

struct aircraft_config_t {
    double ground_altitude = 0;  // metres above sea
    double heading = 0;          // rad, on the ground
    wind_t wind;
    double mass = 1;  // factor: loads that the loops know nothing of
    double gain = 1;  // factor on the gains of all loops
    bool noise = false;
    uint64_t seed = 1;
    sweep_law law = sweep_law::exponential;
};

enum class flight_state : uint8_t { motors_off = 0, on_ground = 1, in_air = 2 };

// A line of the flight record.
struct flight_row_t {
    double time;  // s of model time
    uint8_t mode;
    flight_state state;
    loop_commands_t commands;
    // As sensed.
    vec3_t angles;    // rad: roll, pitch, yaw
    vec3_t rates;     // rad/s
    vec3_t velocity;  // m/s: forward, right, up
    vec3_t position;  // m: north and east of the start, height
    excitation_t excitation;
    double frequency;  // Hz, of the excitation
    double phase;      // rad
};

enum class aircraft_event { mode_changed, took_off, landed, takeoff_refused, sweep_started, sweep_ended, sticks_lost };

struct aircraft_event_t {
    aircraft_event kind;
    double time;  // s of model time
    uint8_t mode;
    uint8_t mode_before;
    sweep_request_t sweep;
};

class AircraftModel {
public:
    static constexpr unsigned ROW_STEPS = 5;  // a row of the record every so many steps: 200 Hz

    explicit AircraftModel(const aircraft_config_t& config);

    // One millisecond.
    void step();

    // False: not now, or not known; nothing changed. `motors_held` refuses a take-off.
    bool basic_command(uint8_t command, bool motors_held);
    bool external_control(uint8_t request);
    bool sticks(const stick_command_t& sticks);
    bool sweep(const afqt_sweep_msg_t& message);

    double time() const { return static_cast<double>(steps_) * STEP_S; }
    uint8_t mode() const { return mode_; }
    flight_state state() const { return state_; }
    const motion_t& truth() const { return airframe_.truth(); }
    const motion_t& sensed() const { return airframe_.sensed(); }
    double altitude() const { return config_.ground_altitude - sensed().position.z; }
    bool sweeping() const { return sweep_.has_value(); }

    // What happened since the last call.
    std::vector<aircraft_event_t> take_events();
    // Sees each row within step(); empty: nobody.
    void set_observer(std::function<void(const flight_row_t&)> observer) { observer_ = std::move(observer); }

private:
    bool take_off(bool motors_held);
    bool give_up_take_off();
    bool leave(uint8_t mode);
    void enter(uint8_t mode);
    void follow_flight();
    void watch_take_off();
    void watch_landing();
    void end_sweep();
    setpoint_t setpoint();
    excitation_t excitation() const;
    void record(const excitation_t& excitation) const;
    void tell(aircraft_event kind, uint8_t mode_before = 0);

    const aircraft_config_t config_;
    Airframe airframe_;
    ControlLoops loops_;
    StickPilot pilot_;
    Hold hold_;
    std::optional<SweepSignal> sweep_;
    uint64_t steps_ = 0;
    double touched_at_ = 0;
    vec2_t home_;  // m, north and east: where it took off
    uint8_t mode_ = KCTRL_GPS_ATTI;
    flight_state state_ = flight_state::on_ground;
    std::vector<aircraft_event_t> events_;
    std::function<void(const flight_row_t&)> observer_;
};

}  // namespace peers
