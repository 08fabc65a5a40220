#include "flight_controller/aircraft_model.h"

#include <utility>

namespace peers {
namespace {

constexpr double AIRBORNE_HEIGHT = 0.15;  // m
constexpr double AT_HEIGHT = 0.05;        // m
constexpr double AT_REST = 0.1;           // m/s
constexpr double HOME_DISTANCE = 0.3;     // m
constexpr double HOME_SPEED = 5;          // m/s
constexpr double SINKING = -0.8;          // m/s
constexpr double SINKING_LOW = -0.4;      // m/s
constexpr double LOW_HEIGHT = 1.0;        // m
constexpr double SETTLING_S = 0.5;        // on the ground before the motors go off

}  // namespace

AircraftModel::AircraftModel(const aircraft_config_t& config)
    : config_(config),
      airframe_(config.wind, config.noise, config.seed, config.heading, config.mass),
      loops_(config.gain)
{
}

void AircraftModel::step()
{
    steps_++;
    follow_flight();
    const excitation_t added = excitation();
    airframe_.step(loops_.step(setpoint(), sensed(), added));
    if (observer_ && steps_ % ROW_STEPS == 0) record(added);
    if (!sweep_) return;
    sweep_->advance(STEP_S);
    if (sweep_->over()) end_sweep();
}

bool AircraftModel::basic_command(uint8_t command, bool motors_held)
{
    switch (command) {
        case API_CMD_AUTO_TAKEOFF:
            return take_off(motors_held);
        case API_CMD_EXIT_TAKEOFF:
            return give_up_take_off();
        case API_CMD_EXIT_GO_HOME:
            return leave(KCTRL_NAVI_GOHOME);
        case API_CMD_EXIT_LANDING:
            return leave(KCTRL_AUTOLANDING);
        case API_CMD_AUTO_LANDING:
        case API_CMD_CMD_GO_HOME:
            if (state_ != flight_state::in_air) return false;
            enter(command == API_CMD_AUTO_LANDING ? KCTRL_AUTOLANDING : KCTRL_NAVI_GOHOME);
            return true;
        default:
            return false;
    }
}

bool AircraftModel::take_off(bool motors_held)
{
    if (mode_ == KCTRL_AUTOTAKEOFF) return true;
    if (state_ == flight_state::in_air) return false;
    if (motors_held) {
        tell(aircraft_event::takeoff_refused);
        return false;
    }
    home_ = {sensed().position.x, sensed().position.y};
    state_ = flight_state::on_ground;
    enter(KCTRL_AUTOTAKEOFF);
    hold_.hold_place(home_);
    hold_.hold_height(TAKEOFF_HEIGHT);
    return true;
}

bool AircraftModel::give_up_take_off()
{
    if (!leave(KCTRL_AUTOTAKEOFF)) return false;
    if (state_ == flight_state::on_ground) state_ = flight_state::motors_off;
    return true;
}

bool AircraftModel::leave(uint8_t mode)
{
    if (mode_ != mode) return false;
    enter(KCTRL_GPS_ATTI);
    return true;
}

bool AircraftModel::external_control(uint8_t request)
{
    if (request == MIS_OFF) return leave(KCTRL_NAVI_JOYSTICK);
    if (request != MIS_ON) return false;
    if (mode_ == KCTRL_NAVI_JOYSTICK) return true;
    if (state_ != flight_state::in_air || mode_ != KCTRL_GPS_ATTI) return false;
    enter(KCTRL_NAVI_JOYSTICK);
    pilot_.begin(angles_of(sensed().attitude).z);
    return true;
}

bool AircraftModel::sticks(const stick_command_t& sticks)
{
    if (mode_ != KCTRL_NAVI_JOYSTICK) return false;
    pilot_.take(sticks, sensed(), time());
    return true;
}

bool AircraftModel::sweep(const afqt_sweep_msg_t& message)
{
    if (message.motion_switch != kSweepOn) {
        end_sweep();
        return true;
    }
    const std::optional<sweep_request_t> request = read_sweep(message);
    if (!request || mode_ != KCTRL_NAVI_JOYSTICK) return false;
    end_sweep();
    sweep_.emplace(*request, config_.law);
    tell(aircraft_event::sweep_started);
    return true;
}

void AircraftModel::end_sweep()
{
    if (!sweep_) return;
    tell(aircraft_event::sweep_ended);
    sweep_.reset();
}

void AircraftModel::enter(uint8_t mode)
{
    if (mode_ == mode) return;
    const uint8_t before = std::exchange(mode_, mode);
    end_sweep();
    hold_.free_all();
    tell(aircraft_event::mode_changed, before);
}

void AircraftModel::follow_flight()
{
    if (mode_ == KCTRL_AUTOTAKEOFF) watch_take_off();
    if (mode_ == KCTRL_AUTOLANDING) watch_landing();
    if (mode_ == KCTRL_NAVI_JOYSTICK && pilot_.lose(time())) tell(aircraft_event::sticks_lost);
    if (mode_ != KCTRL_NAVI_GOHOME) return;
    const vec2_t away = home_ - vec2_t{sensed().position.x, sensed().position.y};
    if (length(away) < HOME_DISTANCE) enter(KCTRL_AUTOLANDING);
}

void AircraftModel::watch_take_off()
{
    const double height = -sensed().position.z;
    if (state_ == flight_state::on_ground && height > AIRBORNE_HEIGHT) {
        state_ = flight_state::in_air;
        tell(aircraft_event::took_off);
    }
    if (std::fabs(height - TAKEOFF_HEIGHT) > AT_HEIGHT || std::fabs(sensed().velocity.z) > AT_REST) return;
    enter(KCTRL_GPS_ATTI);
    hold_.hold_place(home_);
    hold_.hold_height(TAKEOFF_HEIGHT);
}

void AircraftModel::watch_landing()
{
    if (!airframe_.on_ground()) touched_at_ = time();
    if (time() - touched_at_ < SETTLING_S) return;
    state_ = flight_state::motors_off;
    tell(aircraft_event::landed);
    enter(KCTRL_GPS_ATTI);
}

setpoint_t AircraftModel::setpoint()
{
    setpoint_t setpoint;
    const bool taking_off = mode_ == KCTRL_AUTOTAKEOFF;
    if (state_ != flight_state::in_air && !taking_off) return setpoint;
    if (mode_ == KCTRL_NAVI_JOYSTICK) return pilot_.setpoint(sensed(), config_.ground_altitude);
    setpoint.motors = true;
    if (mode_ == KCTRL_NAVI_GOHOME) {
        hold_.hold_place(home_);
        setpoint.max_speed = HOME_SPEED;
    }
    hold_.all(sensed(), setpoint);
    if (mode_ != KCTRL_AUTOLANDING) return setpoint;
    setpoint.vertical = vertical_level::velocity;
    setpoint.climb = -sensed().position.z > LOW_HEIGHT ? SINKING : SINKING_LOW;
    return setpoint;
}

excitation_t AircraftModel::excitation() const
{
    if (!sweep_) return {};
    return {sweep_->request().loop, sweep_->request().point, sweep_->value()};
}

void AircraftModel::record(const excitation_t& excitation) const
{
    const motion_t& motion = sensed();
    flight_row_t row = {};
    row.time = time();
    row.mode = mode_;
    row.state = state_;
    row.commands = loops_.commands();
    row.angles = angles_of(motion.attitude);
    row.rates = motion.rates;
    const vec2_t speed = turned({motion.velocity.x, motion.velocity.y}, -row.angles.z);
    row.velocity = {speed.x, speed.y, -motion.velocity.z};
    row.position = {motion.position.x, motion.position.y, -motion.position.z};
    row.excitation = excitation;
    row.frequency = sweep_ ? sweep_->frequency() : 0;
    row.phase = sweep_ ? sweep_->phase() : 0;
    observer_(row);
}

void AircraftModel::tell(aircraft_event kind, uint8_t mode_before)
{
    const sweep_request_t sweep = sweep_ ? sweep_->request() : sweep_request_t{};
    events_.push_back({kind, time(), mode_, mode_before, sweep});
}

std::vector<aircraft_event_t> AircraftModel::take_events()
{
    return std::exchange(events_, {});
}

}  // namespace peers
