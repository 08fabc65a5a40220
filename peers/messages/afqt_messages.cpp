// The automated flight test: what flies the aircraft, sweeps, heartbeat and switch.
#include "afqt_wire.h"
#include "flight_v1_wire.h"
#include "messages/message_fields.h"

namespace peers {
namespace {

constexpr value_name_t STABS[] = {{STAB_DISABLE, "off"}, {STAB_ENABLE, "on"}, {0, nullptr}};
constexpr value_name_t FRAMES[] = {
    {GROUND_LEVEL, "ground"}, {BODY_LEVEL, "body"}, {REF_LEVEL, "reference"}, {0, nullptr}};
constexpr value_name_t YAW_MODES[] = {{YAW_MODE_ANG, "angle, deg"}, {YAW_MODE_RATE, "rate, deg/s"}, {0, nullptr}};
constexpr value_name_t VERT_MODES[] = {{VERT_MODE_VEL, "velocity, m/s"},
                                       {VERT_MODE_POS, "position, m"},
                                       {VERT_MODE_ACC, "acceleration, m/s2"},
                                       {0, nullptr}};
constexpr value_name_t HORIZ_MODES[] = {{HORIZ_MODE_ATTI, "attitude, deg"},
                                        {HORIZ_MODE_VEL, "velocity, m/s"},
                                        {HORIZ_MODE_POS, "position, m"},
                                        {HORIZ_MODE_ANG_VEL, "angular velocity, deg/s"},
                                        {0, nullptr}};
constexpr value_name_t FORWARDS[] = {
    {FFWD_DISABLE, "off"}, {FFWD_ACC, "acceleration"}, {FFWD_VEL_ACC, "velocity and acceleration"}, {0, nullptr}};
constexpr value_name_t COMMANDS[] = {{API_CMD_AUTO_TAKEOFF, "take off"},
                                     {API_CMD_AUTO_LANDING, "land"},
                                     {API_CMD_CMD_GO_HOME, "go home"},
                                     {API_CMD_EXIT_GO_HOME, "do not go home"},
                                     {API_CMD_EXIT_TAKEOFF, "do not take off"},
                                     {API_CMD_EXIT_LANDING, "do not land"},
                                     {0, nullptr}};
constexpr value_name_t REQUESTS[] = {{MIS_NULL, "nothing"}, {MIS_ON, "begin"}, {MIS_OFF, "end"}, {0, nullptr}};
constexpr value_name_t DEVICES[] = {{ON_BOARD_DEV, "on board"}, {0, nullptr}};
constexpr value_name_t SWITCHES[] = {
    {kAfqtIdle, "idle"}, {kAfqtOn, "on"}, {kAfqtOff, "off"}, {kAfqtDone, "done"}, {0, nullptr}};
constexpr value_name_t SWEEPS[] = {{kSweepOff, "stop"}, {kSweepOn, "start"}, {0, nullptr}};
constexpr value_name_t METHODS[] = {{kChirpZSig, "sweep"}, {kPrbsSig, "random"}, {0, nullptr}};
constexpr value_name_t STATES[] = {{kStaMotionIdel, "idle"},
                                   {kStaTakeoff, "take-off"},
                                   {kStaReqApi, "asks for external control"},
                                   {kStaMotionListRun, "flies the list"},
                                   {kStaRtl, "returns"},
                                   {kStaLanding, "lands"},
                                   {kStaReloadMotionList, "loads the list"},
                                   {kStaUploadFlightData, "uploads"},
                                   {kStaErrSta, "error"},
                                   {0, nullptr}};
constexpr value_name_t ERRORS[] = {{ERROR_NONE, "none"},
                                   {CFG_TABLE_EMPTY, "empty list"},
                                   {WRONR_STATE, "wrong state"},
                                   {INIT_MOTION_INVALID, "first motion invalid"},
                                   {INIT_CURR_MOTION_NULL, "no first motion"},
                                   {CANNOT_REQ_TAKEOFF, "take-off not obeyed"},
                                   {TAKEOFF_FAIL, "take-off failed"},
                                   {REQ_API_TIMEOUT, "no external control"},
                                   {GET_FC_LOG_FAIL, "no flight log"},
                                   {CREATE_TAGFILE_FAIL, "no tag file"},
                                   {PARSE_MOTIONLIST_FAIL, "list unreadable"},
                                   {MOTION_NUM_OVERRANGE, "motion number out of range"},
                                   {MOTION_INIT_FAIL, "motion cannot begin"},
                                   {MOTION_CFG_FAIL, "motion invalid"},
                                   {0, nullptr}};
constexpr value_name_t MOTIONS[] = {
    {NONE, "none"},        {MOTION_HOVER, "hover"}, {MOTION_STEP, "step"},     {MOTION_SWEEP, "sweep"},
    {MOTION_LINE, "line"}, {MOTION_RTL, "return"},  {MOTION_REPEAT, "repeat"}, {0, nullptr}};

// The flag byte is the first of both formats.
#define FLAG_BITS                                                                                                   \
    WIRE_BITS_NAMED("stab_flag", api_ctrl_data_pro_t, ctrl_flag, u8, STABS, CTRL_FLAG_STAB_SHIFT, 1),               \
        WIRE_BITS_NAMED("horiz_frame", api_ctrl_data_pro_t, ctrl_flag, u8, FRAMES, CTRL_FLAG_HORIZ_FRAME_SHIFT, 2), \
        WIRE_BITS_NAMED("yaw_mode", api_ctrl_data_pro_t, ctrl_flag, u8, YAW_MODES, CTRL_FLAG_YAW_MODE_SHIFT, 1),    \
        WIRE_BITS_NAMED("vert_mode", api_ctrl_data_pro_t, ctrl_flag, u8, VERT_MODES, CTRL_FLAG_VERT_MODE_SHIFT, 2), \
        WIRE_BITS_NAMED("horiz_mode", api_ctrl_data_pro_t, ctrl_flag, u8, HORIZ_MODES, CTRL_FLAG_HORIZ_MODE_SHIFT, 2)

constexpr field_t STICKS[] = {
    FLAG_BITS,
    WIRE_FIELD(api_ctrl_data_without_sensor_t, roll_or_x, f32),
    WIRE_FIELD(api_ctrl_data_without_sensor_t, pitch_or_y, f32),
    WIRE_FIELD(api_ctrl_data_without_sensor_t, thr_z, f32),
    WIRE_FIELD(api_ctrl_data_without_sensor_t, yaw, f32),
};

#define PRO_BITS(name, shift, bits) WIRE_BITS(name, api_ctrl_data_pro_t, ctrl_byte, u16, shift, bits)
constexpr field_t PRO_STICKS[] = {
    FLAG_BITS,
    WIRE_BITS_NAMED("horiz_ffwd_flag", api_ctrl_data_pro_t, ctrl_byte, u16, FORWARDS, CTRL_BYTE_HORIZ_FFWD_SHIFT, 2),
    WIRE_BITS_NAMED("vert_ffwd_flag", api_ctrl_data_pro_t, ctrl_byte, u16, FORWARDS, CTRL_BYTE_VERT_FFWD_SHIFT, 2),
    PRO_BITS("brake_flag", CTRL_BYTE_BRAKE_SHIFT, 1),
    PRO_BITS("yaw_ctrl_flag", CTRL_BYTE_YAW_CTRL_SHIFT, 1),
    PRO_BITS("avoid_atti_limit_enable", CTRL_BYTE_AVOID_ATTI_SHIFT, 2),
    PRO_BITS("ctrl_frame", CTRL_BYTE_CTRL_FRAME_SHIFT, 1),
    PRO_BITS("ctrl_mode", CTRL_BYTE_CTRL_MODE_SHIFT, 2),
    WIRE_FIELD(api_ctrl_data_pro_t, stick_cmd, f32, 4),
    WIRE_FIELD(api_ctrl_data_pro_t, horiz_ffwd_vel, f32, 2, "m/s"),
    WIRE_FIELD(api_ctrl_data_pro_t, horiz_ffwd_acc, f32, 2, "m/s2"),
    WIRE_FIELD(api_ctrl_data_pro_t, vert_ffwd, f32, 2),
};
#undef PRO_BITS
#undef FLAG_BITS

constexpr field_t BASIC_COMMAND[] = {WIRE_NAMED(api_basic_cmd_t, basic_cmd_id, u8, COMMANDS)};

constexpr field_t EXTERNAL_CONTROL[] = {
    WIRE_NAMED(cmd_mission_request_onoff_t, switch_value, u8, REQUESTS),
    WIRE_NAMED(cmd_mission_request_onoff_t, dev, u8, DEVICES),
};

#define SWEEP_BITS(name, shift, bits) WIRE_BITS(name, afqt_sweep_req_t, sweep.inj_flag, u8, shift, bits)
constexpr field_t SWEEP[] = {
    WIRE_FIELD_AS("motion_id", afqt_sweep_req_t, sweep.motion_id, u8, 1, "", MOTIONS),
    WIRE_FIELD_AS("motion_switch", afqt_sweep_req_t, sweep.motion_switch, u8, 1, "", SWEEPS),
    WIRE_FIELD_AS("start_freq", afqt_sweep_req_t, sweep.start_freq, u16, 1, "x 0.1 Hz"),
    WIRE_FIELD_AS("end_freq", afqt_sweep_req_t, sweep.end_freq, u16, 1, "x 0.1 Hz"),
    WIRE_FIELD_AS("amp", afqt_sweep_req_t, sweep.amp, u16, 1, "tenths"),
    WIRE_FIELD_AS("during_time", afqt_sweep_req_t, sweep.during_time, u8, 1, "s"),
    SWEEP_BITS("loop", SWEEP_FLAG_LOOP_SHIFT, 5),
    WIRE_BITS_NAMED("method", afqt_sweep_req_t, sweep.inj_flag, u8, METHODS, SWEEP_FLAG_METHOD_SHIFT, 2),
    SWEEP_BITS("inj_point", SWEEP_FLAG_POINT_SHIFT, 1),
};
#undef SWEEP_BITS

constexpr field_t HEARTBEAT[] = {
    WIRE_FIELD_AS("afqt_state", afqt_heart_beat_msg_t, beat.afqt_state, u8, 1, "", STATES),
    WIRE_FIELD_AS("err_code", afqt_heart_beat_msg_t, beat.err_code, u8, 1, "", ERRORS),
    WIRE_FIELD_AS("motion_id", afqt_heart_beat_msg_t, beat.motion_id, u8, 1, "", MOTIONS),
    WIRE_FIELD_AS("motion_num", afqt_heart_beat_msg_t, beat.motion_num, u8),
    WIRE_FIELD_AS("motion_loop", afqt_heart_beat_msg_t, beat.motion_loop, u8),
};

constexpr field_t TEST_SWITCH[] = {
    WIRE_NAMED(afqt_on_off_cmd_t, switch_state, u8, SWITCHES),
    WIRE_NAMED(afqt_on_off_cmd_t, err_code, u8, ERRORS),
    WIRE_FIELD(afqt_on_off_cmd_t, file_index, u8),
};

constexpr message_kind REQUEST = message_kind::request;
constexpr uint8_t SET = SET_FLIGHT_CONTROLLER;

constexpr parties_t FLOWN = {HOST_FLIGHT_SERVICE, HOST_FLIGHT_CONTROLLER};
constexpr parties_t REPORTED = {HOST_FLIGHT_SERVICE, HOST_FACTORY_STATION};
constexpr parties_t SWITCHED = {HOST_FACTORY_STATION, HOST_FLIGHT_SERVICE};

constexpr message_t MESSAGES[] = {
    {"sticks", "how to fly", FLOWN, SET, CMD_ID_CTRL_DATA, REQUEST, 0, sizeof(api_ctrl_data_without_sensor_t), STICKS},
    {"pro_sticks", "how to fly, with feed-forward", FLOWN, SET, CMD_ID_CTRL_DATA, REQUEST, 0,
     sizeof(api_ctrl_data_pro_t), PRO_STICKS},
    {"basic_command", "take off, land, go home", FLOWN, SET, CMD_ID_BASIC_CMD, REQUEST, 0, sizeof(api_basic_cmd_t),
     BASIC_COMMAND},
    {"external_control", "asks to fly by sticks, or ends that", FLOWN, SET, CMD_ID_MISSION_ONOFF, REQUEST, 0,
     sizeof(cmd_mission_request_onoff_t), EXTERNAL_CONTROL},
    {"afqt_heartbeat", "where the flight test stands; the flight controller gets it, too", REPORTED, SET_AFQT,
     CMD_ID_AFQT_MSG, REQUEST, 0, sizeof(afqt_heart_beat_msg_t), HEARTBEAT, MSG_ID_HEART_BEAT},
    {"sweep", "starts or stops a sweep of one loop", FLOWN, SET_AFQT, CMD_ID_AFQT_MSG, REQUEST, 0,
     sizeof(afqt_sweep_req_t), SWEEP, MSG_ID_MOTION_CMD},
    {"afqt_switch", "flight test on or off; from the service: that it is done", SWITCHED, SET_AFQT, CMD_ID_AFQT_CMD,
     REQUEST, 0, sizeof(afqt_on_off_cmd_t), TEST_SWITCH},
};

}  // namespace

std::span<const message_t> afqt_messages()
{
    return MESSAGES;
}

}  // namespace peers
