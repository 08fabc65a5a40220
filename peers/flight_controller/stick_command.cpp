#include "flight_controller/stick_command.h"

#include <cmath>

namespace peers {
namespace {

unsigned bits_of(unsigned word, unsigned shift, unsigned bits)
{
    return word >> shift & ((1u << bits) - 1);
}

bool all_finite(const stick_command_t& sticks)
{
    const double sum = sticks.horizontal.x + sticks.horizontal.y + sticks.vertical + sticks.yaw +
                       sticks.forward_velocity.x + sticks.forward_velocity.y + sticks.forward_acceleration.x +
                       sticks.forward_acceleration.y + sticks.forward_climb + sticks.forward_climb_acceleration;
    return std::isfinite(sum);
}

bool known(const stick_command_t& sticks)
{
    return sticks.vertical_mode <= VERT_MODE_ACC && sticks.frame <= REF_LEVEL && all_finite(sticks);
}

stick_command_t modes_of(uint8_t flag)
{
    stick_command_t sticks;
    sticks.stabilized = bits_of(flag, CTRL_FLAG_STAB_SHIFT, 1) == STAB_ENABLE;
    sticks.frame = static_cast<ctrl_level_frame_t>(bits_of(flag, CTRL_FLAG_HORIZ_FRAME_SHIFT, 2));
    sticks.yaw_mode = static_cast<yaw_mode_t>(bits_of(flag, CTRL_FLAG_YAW_MODE_SHIFT, 1));
    sticks.vertical_mode = static_cast<vert_mode_t>(bits_of(flag, CTRL_FLAG_VERT_MODE_SHIFT, 2));
    sticks.horizontal_mode = static_cast<horiz_mode_t>(bits_of(flag, CTRL_FLAG_HORIZ_MODE_SHIFT, 2));
    return sticks;
}

stick_command_t basic_sticks(const api_ctrl_data_without_sensor_t& frame)
{
    stick_command_t sticks = modes_of(frame.ctrl_flag);
    sticks.horizontal = {frame.roll_or_x, frame.pitch_or_y};
    sticks.vertical = frame.thr_z;
    sticks.yaw = frame.yaw;
    return sticks;
}

stick_command_t pro_sticks(const api_ctrl_data_pro_t& frame)
{
    stick_command_t sticks = modes_of(frame.ctrl_flag);
    sticks.horizontal = {frame.stick_cmd[0], frame.stick_cmd[1]};
    sticks.vertical = frame.stick_cmd[2];
    sticks.yaw = frame.stick_cmd[3];
    sticks.brake = bits_of(frame.ctrl_byte, CTRL_BYTE_BRAKE_SHIFT, 1) != 0;
    const unsigned level = bits_of(frame.ctrl_byte, CTRL_BYTE_HORIZ_FFWD_SHIFT, 2);
    if (level == FFWD_VEL_ACC) sticks.forward_velocity = {frame.horiz_ffwd_vel[0], frame.horiz_ffwd_vel[1]};
    if (level != FFWD_DISABLE) sticks.forward_acceleration = {frame.horiz_ffwd_acc[0], frame.horiz_ffwd_acc[1]};
    const unsigned vertical = bits_of(frame.ctrl_byte, CTRL_BYTE_VERT_FFWD_SHIFT, 2);
    if (vertical == FFWD_VEL_ACC) sticks.forward_climb = frame.vert_ffwd[0];
    if (vertical != FFWD_DISABLE) sticks.forward_climb_acceleration = frame.vert_ffwd[1];
    return sticks;
}

}  // namespace

std::optional<stick_command_t> read_sticks(bytes_view payload)
{
    api_ctrl_data_without_sensor_t basic = {};
    api_ctrl_data_pro_t pro = {};
    std::optional<stick_command_t> sticks;
    if (payload.size() == sizeof basic && read_record(payload, basic)) sticks = basic_sticks(basic);
    if (payload.size() == sizeof pro && read_record(payload, pro)) sticks = pro_sticks(pro);
    if (sticks && !known(*sticks)) return std::nullopt;
    return sticks;
}

}  // namespace peers
