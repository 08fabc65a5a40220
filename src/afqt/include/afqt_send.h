// Everything that the flight test says on the bus.
//
// The senders return the low byte of the link's result, 0 for sent, and never repeat. AFQT timer only, unless a comment
// says otherwise; no heap. Arguments that go into bit fields are masked to the field.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/flight_result.h"
#include "flight_v1/flight_v1_pack.h"

// Basic sticks to the flight controller. Modes: horiz_mode_t, vert_mode_t, yaw_mode_t, ctrl_level_frame_t, stab_flag_t.
// Axes by horizontal mode: m/s, m or degrees; `z_axis_cmd` is the yaw (degrees or degrees/s), `vert_cmd` the height.
uint8_t send_ctrl_data_packed(uint8_t horiz_mode, uint8_t vert_mode, uint8_t yaw_mode, uint8_t horiz_frame,
                              uint8_t stab_flag, float x_axis_cmd, float y_axis_cmd, float z_axis_cmd, float vert_cmd);

// Extended sticks: four stick commands (x, y, vertical, yaw) and two floats in each of the others. 1, and nothing sent,
// if one of the arrays is null. Build the first two with the packers below.
uint8_t send_pro_ctrl_data_packed(uint8_t ctrl_flag, uint16_t ctrl_byte, const float* stick_cmd,
                                  const float* horiz_ffwd_vel, const float* horiz_ffwd_acc, const float* vert_ffwd);

// Both return 0.
uint8_t pack_ctrl_pro_ctrl_flag(uint8_t* ctrl_flag, uint8_t horiz_mode, uint8_t stab_flag, uint8_t vert_mode,
                                uint8_t yaw_mode, uint8_t horiz_frame);
uint8_t pack_ctrl_pro_ctrl_byte(uint16_t* ctrl_byte, uint8_t horiz_ffwd_flag, uint8_t vert_ffwd_flag,
                                uint8_t brake_flag, uint8_t yaw_ctrl_flag, uint8_t avoid_atti_limit_enable,
                                uint8_t ctrl_frame, uint8_t ctrl_mode);

// Starts (1) or stops (0) an injected signal. Frequencies in Hz and the amplitude go out in tenths, cut to 16 bits; the
// duration in whole seconds, cut to 8. What is negative or no number goes out as 0.
uint8_t send_sweep_req_msg(uint8_t motion_switch, float start_freq, float end_freq, float amp, float during_time,
                           uint8_t inject_point, uint8_t inject_loop, uint8_t method);

// Asks for external control (MIS_ON) or gives it back (MIS_OFF).
uint8_t send_req_api_mode(uint8_t on_off);

// badic_cmd_id_t.
uint8_t send_basic_cmd(uint8_t temp_basic_id);

// Sends at every 50th call, to the station and to the flight controller; else returns 0.
uint8_t send_afqt_heart_beat(uint8_t afqt_state, uint8_t err_code, uint8_t motion_id, uint8_t motion_num,
                             uint8_t motion_loop);

// Notice to the station (AfqtCmdEnum). Returns 0.
uint8_t send_afqt_msg(uint8_t cmd, uint8_t msg, uint8_t index);

// Queries to the flight controller: wait up to 5 ms; 0, or non-zero (no answer, or one too short) with the output
// untouched. Outputs: text of at most 16 bytes with its end; craft_type_t; 16 bytes of text without an end.
flight_result_t send_get_version(char* firmware_str);
flight_result_t send_get_drone_type(int8_t* drone_type);
flight_result_t send_get_drone_sn(uint8_t* sn);

// Shaped like handlers of answers, in no command table. Return 0.
size_t afqt_msg_ack(flight_v1_pack_t* pack_info, char* ack_buf, size_t ack_buf_len);
size_t send_req_api_mode_ack(flight_v1_pack_t* pack_info, char* ack_buf, size_t ack_buf_len);

// Keeps the last switch command; nothing depends on it. Flight client task.
void set_send_heart_flag(uint8_t index);
