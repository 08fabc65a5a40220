#include "flight_controller/hold.h"

namespace peers {
namespace {

// At rest, for holding: what is left carries the aircraft no further than the position is known.
constexpr double RESTING_SPEED = 0.05;     // m/s
constexpr double RESTING_CLIMB = 0.05;     // m/s
constexpr double RESTING_YAW_RATE = 0.02;  // rad/s

}  // namespace

void Hold::free_all()
{
    free_horizontal();
    free_vertical();
    free_yaw();
}

void Hold::all(const motion_t& motion, setpoint_t& setpoint)
{
    horizontal(motion, setpoint);
    vertical(motion, setpoint);
    yaw(motion, setpoint);
}

void Hold::horizontal(const motion_t& motion, setpoint_t& setpoint)
{
    const vec2_t place = {motion.position.x, motion.position.y};
    if (!place_ && std::hypot(motion.velocity.x, motion.velocity.y) < RESTING_SPEED) place_ = place;
    setpoint.horizontal = place_ ? horizontal_level::position : horizontal_level::velocity;
    setpoint.position = place_.value_or(place);
    setpoint.velocity = {};
}

void Hold::vertical(const motion_t& motion, setpoint_t& setpoint)
{
    if (!height_ && std::fabs(motion.velocity.z) < RESTING_CLIMB) height_ = -motion.position.z;
    setpoint.vertical = height_ ? vertical_level::height : vertical_level::velocity;
    setpoint.height = height_.value_or(0);
    setpoint.climb = 0;
}

void Hold::yaw(const motion_t& motion, setpoint_t& setpoint)
{
    if (!yaw_ && std::fabs(motion.rates.z) < RESTING_YAW_RATE) yaw_ = angles_of(motion.attitude).z;
    setpoint.yaw_mode = yaw_ ? yaw_level::angle : yaw_level::rate;
    setpoint.yaw = yaw_.value_or(0);
    setpoint.yaw_rate = 0;
}

}  // namespace peers
