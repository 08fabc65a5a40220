#include "afqt/include/afqt_send.h"

#include <cstdio>
#include <cstring>

#include "afqt/include/afqt_convert.h"
#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_wire.h"
#include "common/shared_word.h"
#include "flight_v1/flight_v1.h"
#include "flight_v1/flight_v1_wire.h"

static constexpr uint8_t HEART_BEAT_EVERY_CALLS = 50;

static shared_word<uint8_t> send_heart_flag;  // flight client task writes, nobody reads

template <typename T>
static uint8_t send_record(uint8_t cmd_set, uint8_t cmd_id, uint16_t device, const T& record)
{
    char payload[sizeof record];
    std::memcpy(payload, &record, sizeof record);
    return static_cast<uint8_t>(flight_v1_send(cmd_set, cmd_id, device, payload, sizeof payload));
}

template <typename T>
static uint8_t send_to_flight_controller(uint8_t cmd_id, const T& record)
{
    return send_record(SET_FLIGHT_CONTROLLER, cmd_id, HOST_FLIGHT_CONTROLLER, record);
}

// `value` masked to `width` bits and brought to its place.
static unsigned bits(unsigned value, unsigned width, unsigned shift)
{
    return (value & ((1u << width) - 1u)) << shift;
}

uint8_t pack_ctrl_pro_ctrl_flag(uint8_t* ctrl_flag, uint8_t horiz_mode, uint8_t stab_flag, uint8_t vert_mode,
                                uint8_t yaw_mode, uint8_t horiz_frame)
{
    *ctrl_flag = static_cast<uint8_t>(
        bits(stab_flag, 1, CTRL_FLAG_STAB_SHIFT) | bits(horiz_frame, 2, CTRL_FLAG_HORIZ_FRAME_SHIFT) |
        bits(yaw_mode, 1, CTRL_FLAG_YAW_MODE_SHIFT) | bits(vert_mode, 2, CTRL_FLAG_VERT_MODE_SHIFT) |
        bits(horiz_mode, 2, CTRL_FLAG_HORIZ_MODE_SHIFT));
    return 0;
}

uint8_t pack_ctrl_pro_ctrl_byte(uint16_t* ctrl_byte, uint8_t horiz_ffwd_flag, uint8_t vert_ffwd_flag,
                                uint8_t brake_flag, uint8_t yaw_ctrl_flag, uint8_t avoid_atti_limit_enable,
                                uint8_t ctrl_frame, uint8_t ctrl_mode)
{
    *ctrl_byte = static_cast<uint16_t>(
        bits(horiz_ffwd_flag, 2, CTRL_BYTE_HORIZ_FFWD_SHIFT) | bits(vert_ffwd_flag, 2, CTRL_BYTE_VERT_FFWD_SHIFT) |
        bits(brake_flag, 1, CTRL_BYTE_BRAKE_SHIFT) | bits(yaw_ctrl_flag, 1, CTRL_BYTE_YAW_CTRL_SHIFT) |
        bits(avoid_atti_limit_enable, 2, CTRL_BYTE_AVOID_ATTI_SHIFT) | bits(ctrl_frame, 1, CTRL_BYTE_CTRL_FRAME_SHIFT) |
        bits(ctrl_mode, 2, CTRL_BYTE_CTRL_MODE_SHIFT));
    return 0;
}

uint8_t send_ctrl_data_packed(uint8_t horiz_mode, uint8_t vert_mode, uint8_t yaw_mode, uint8_t horiz_frame,
                              uint8_t stab_flag, float x_axis_cmd, float y_axis_cmd, float z_axis_cmd, float vert_cmd)
{
    api_ctrl_data_without_sensor_t sticks = {};
    pack_ctrl_pro_ctrl_flag(&sticks.ctrl_flag, horiz_mode, stab_flag, vert_mode, yaw_mode, horiz_frame);
    sticks.roll_or_x = x_axis_cmd;
    sticks.pitch_or_y = y_axis_cmd;
    sticks.thr_z = vert_cmd;
    sticks.yaw = z_axis_cmd;
    return send_to_flight_controller(CMD_ID_CTRL_DATA, sticks);
}

uint8_t send_pro_ctrl_data_packed(uint8_t ctrl_flag, uint16_t ctrl_byte, const float* stick_cmd,
                                  const float* horiz_ffwd_vel, const float* horiz_ffwd_acc, const float* vert_ffwd)
{
    const bool complete =
        stick_cmd != nullptr && horiz_ffwd_vel != nullptr && horiz_ffwd_acc != nullptr && vert_ffwd != nullptr;
    if (!complete) return 1;
    api_ctrl_data_pro_t sticks = {};
    sticks.ctrl_flag = ctrl_flag;
    sticks.ctrl_byte = ctrl_byte;
    std::memcpy(sticks.stick_cmd, stick_cmd, sizeof sticks.stick_cmd);
    std::memcpy(sticks.horiz_ffwd_vel, horiz_ffwd_vel, sizeof sticks.horiz_ffwd_vel);
    std::memcpy(sticks.horiz_ffwd_acc, horiz_ffwd_acc, sizeof sticks.horiz_ffwd_acc);
    std::memcpy(sticks.vert_ffwd, vert_ffwd, sizeof sticks.vert_ffwd);
    return send_to_flight_controller(CMD_ID_CTRL_DATA, sticks);
}

static uint16_t tenths(float value)
{
    return static_cast<uint16_t>(afqt_float_to_uint(value * 10.0f));
}

uint8_t send_sweep_req_msg(uint8_t motion_switch, float start_freq, float end_freq, float amp, float during_time,
                           uint8_t inject_point, uint8_t inject_loop, uint8_t method)
{
    afqt_sweep_req_t request = {};
    request.msg_id = MSG_ID_MOTION_CMD;
    request.sweep.motion_id = MOTION_SWEEP;
    request.sweep.motion_switch = motion_switch;
    request.sweep.start_freq = tenths(start_freq);
    request.sweep.end_freq = tenths(end_freq);
    request.sweep.amp = tenths(amp);
    request.sweep.during_time = static_cast<uint8_t>(afqt_float_to_uint(during_time));
    request.sweep.inj_flag =
        static_cast<uint8_t>(bits(inject_loop, 5, SWEEP_FLAG_LOOP_SHIFT) | bits(method, 2, SWEEP_FLAG_METHOD_SHIFT) |
                             bits(inject_point, 1, SWEEP_FLAG_POINT_SHIFT));
    return send_record(SET_AFQT, CMD_ID_AFQT_MSG, HOST_FLIGHT_CONTROLLER, request);
}

uint8_t send_req_api_mode(uint8_t on_off)
{
    return send_to_flight_controller(CMD_ID_MISSION_ONOFF, cmd_mission_request_onoff_t{on_off, ON_BOARD_DEV});
}

uint8_t send_basic_cmd(uint8_t temp_basic_id)
{
    return send_to_flight_controller(CMD_ID_BASIC_CMD, api_basic_cmd_t{temp_basic_id});
}

uint8_t send_afqt_heart_beat(uint8_t afqt_state, uint8_t err_code, uint8_t motion_id, uint8_t motion_num,
                             uint8_t motion_loop)
{
    static uint8_t s_calls = 0;
    if (++s_calls < HEART_BEAT_EVERY_CALLS) return 0;
    s_calls = 0;
    const afqt_heart_beat_msg_t message = {MSG_ID_HEART_BEAT,
                                           {afqt_state, err_code, motion_id, motion_num, motion_loop}};
    send_record(SET_AFQT, CMD_ID_AFQT_MSG, HOST_FACTORY_STATION, message);
    return send_record(SET_AFQT, CMD_ID_AFQT_MSG, HOST_FLIGHT_CONTROLLER, message);
}

uint8_t send_afqt_msg(uint8_t cmd, uint8_t msg, uint8_t index)
{
    const afqt_on_off_cmd_t notice = {cmd, msg, index};
    const double result = send_record(SET_AFQT, CMD_ID_AFQT_CMD, HOST_FACTORY_STATION, notice);
    _afqt_log(__func__, "[afqt]to[autotset] %f\r\n", result);
    printf("[afqt]to[autotset] %f\r\n", result);
    return 0;
}

void set_send_heart_flag(uint8_t index)
{
    send_heart_flag = index;
}

size_t afqt_msg_ack(flight_v1_pack_t*, char*, size_t)
{
    return 0;
}

size_t send_req_api_mode_ack(flight_v1_pack_t*, char*, size_t)
{
    puts(" get fc mode ack \r");
    return 0;
}
