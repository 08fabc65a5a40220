#include "flight_controller/stick_pilot.h"

namespace peers {
namespace {

// Senders compute zero with single precision.
constexpr double STICK_ZERO = 1e-5;

bool at_zero(const vec2_t& stick)
{
    return length(stick) < STICK_ZERO;
}

bool at_zero(double stick)
{
    return std::fabs(stick) < STICK_ZERO;
}

}  // namespace

void StickPilot::begin(double heading)
{
    sticks_.reset();
    reference_heading_ = heading;
    hold_.free_all();
}

void StickPilot::take(const stick_command_t& sticks, const motion_t& motion, double now)
{
    sticks_ = sticks;
    taken_at_ = now;
    const vec2_t here = {motion.position.x, motion.position.y};
    target_ = here + turned(sticks.horizontal, heading_of_frame(motion));
}

bool StickPilot::lose(double now)
{
    if (!sticks_ || now - taken_at_ < STICK_TIMEOUT_S) return false;
    sticks_.reset();
    hold_.free_all();
    return true;
}

double StickPilot::heading_of_frame(const motion_t& motion) const
{
    if (sticks_->frame == GROUND_LEVEL) return 0;
    return sticks_->frame == BODY_LEVEL ? angles_of(motion.attitude).z : reference_heading_;
}

setpoint_t StickPilot::setpoint(const motion_t& motion, double ground)
{
    setpoint_t setpoint;
    setpoint.motors = true;
    if (!sticks_) {
        hold_.all(motion, setpoint);
        return setpoint;
    }
    horizontal(motion, setpoint);
    vertical(motion, ground, setpoint);
    yaw(motion, setpoint);
    return setpoint;
}

void StickPilot::horizontal(const motion_t& motion, setpoint_t& setpoint)
{
    if (sticks_->brake) return hold_.horizontal(motion, setpoint);
    setpoint.acceleration = turned(sticks_->forward_acceleration, heading_of_frame(motion));
    switch (sticks_->horizontal_mode) {
        case HORIZ_MODE_POS:
            return fly_to_target(motion, setpoint);
        case HORIZ_MODE_VEL:
            return fly_at_speed(motion, setpoint);
        case HORIZ_MODE_ATTI:
            return tilt(motion, setpoint);
        case HORIZ_MODE_ANG_VEL:
            break;
    }
    setpoint.horizontal = horizontal_level::rate;
    setpoint.rates = RADIANS_PER_DEGREE * sticks_->horizontal;
    hold_.free_horizontal();
}

// Sticks at zero mean here. Frames keep coming, and taking each one's here would let the aircraft drift away.
void StickPilot::fly_to_target(const motion_t& motion, setpoint_t& setpoint)
{
    if (at_zero(sticks_->horizontal) && at_zero(sticks_->forward_velocity)) return hold_.horizontal(motion, setpoint);
    setpoint.horizontal = at_zero(sticks_->horizontal) ? horizontal_level::velocity : horizontal_level::position;
    setpoint.position = target_;
    setpoint.velocity = turned(sticks_->forward_velocity, heading_of_frame(motion));
    hold_.free_horizontal();
}

void StickPilot::fly_at_speed(const motion_t& motion, setpoint_t& setpoint)
{
    const vec2_t speed = sticks_->horizontal + sticks_->forward_velocity;
    if (sticks_->stabilized && at_zero(speed)) return hold_.horizontal(motion, setpoint);
    setpoint.horizontal = horizontal_level::velocity;
    setpoint.velocity = turned(speed, heading_of_frame(motion));
    hold_.free_horizontal();
}

// Stabilized, the tilt comes on top of what holds the place; otherwise it is all there is, and the aircraft drifts.
void StickPilot::tilt(const motion_t& motion, setpoint_t& setpoint)
{
    const double turn = heading_of_frame(motion) - angles_of(motion.attitude).z;
    setpoint.tilt = RADIANS_PER_DEGREE * turned(sticks_->horizontal, turn);
    if (sticks_->stabilized) return hold_.horizontal(motion, setpoint);
    setpoint.horizontal = horizontal_level::tilt;
    hold_.free_horizontal();
}

void StickPilot::vertical(const motion_t& motion, double ground, setpoint_t& setpoint)
{
    setpoint.climb = sticks_->forward_climb;
    setpoint.climb_acceleration = sticks_->forward_climb_acceleration;
    if (sticks_->vertical_mode == VERT_MODE_POS) {
        setpoint.vertical = vertical_level::height;
        setpoint.height = sticks_->vertical - ground;
    } else if (sticks_->vertical_mode == VERT_MODE_ACC) {
        setpoint.vertical = vertical_level::acceleration;
        setpoint.climb_acceleration += sticks_->vertical;
    } else {
        setpoint.vertical = vertical_level::velocity;
        setpoint.climb += sticks_->vertical;
        if (at_zero(setpoint.climb)) return hold_.vertical(motion, setpoint);
    }
    hold_.free_vertical();
}

void StickPilot::yaw(const motion_t& motion, setpoint_t& setpoint)
{
    const double stick = RADIANS_PER_DEGREE * sticks_->yaw;
    if (sticks_->yaw_mode == YAW_MODE_RATE && at_zero(stick)) return hold_.yaw(motion, setpoint);
    setpoint.yaw_mode = sticks_->yaw_mode == YAW_MODE_ANG ? yaw_level::angle : yaw_level::rate;
    setpoint.yaw = stick;
    setpoint.yaw_rate = setpoint.yaw_mode == yaw_level::rate ? stick : 0;
    hold_.free_yaw();
}

}  // namespace peers
