// The messages of the automated flight quality test (AFQT): sticks, modes, sweeps, heartbeat, switch, and the flight
// controller's answers to the questions who it is. Shared by service and peers. All records packed, little-endian.
#pragma once

#include <cstddef>
#include <cstdint>

// Sets and ids.
inline constexpr uint8_t SET_AFQT = 0x22;
inline constexpr uint8_t CMD_ID_BASIC_CMD = 0x2a;         // set 0x03
inline constexpr uint8_t CMD_ID_GET_PRODUCT_ID = 0x74;    // set 0x03: serial number
inline constexpr uint8_t CMD_ID_MISSION_ONOFF = 0x80;     // set 0x03
inline constexpr uint8_t CMD_ID_SUB_MODE = 0x8d;          // set 0x03, not sent
inline constexpr uint8_t CMD_ID_CTRL_DATA = 0x8e;         // set 0x03
inline constexpr uint8_t CMD_ID_GET_PRODUCT_TYPE = 0xfd;  // set 0x03: drone type
inline constexpr uint8_t CMD_ID_AFQT_CMD = 0x48;          // set 0x22
inline constexpr uint8_t CMD_ID_AFQT_MSG = 0x49;          // set 0x22

// First byte of every (0x22, 0x49).
enum afqt_msg_id_t : uint8_t {
    MSG_ID_HEART_BEAT = 1,
    MSG_ID_MOTION_CMD = 2,
};

// How the sticks are meant.
enum stab_flag_t : uint8_t { STAB_DISABLE = 0, STAB_ENABLE = 1 };
enum ctrl_level_frame_t : uint8_t { GROUND_LEVEL = 0, BODY_LEVEL = 1, REF_LEVEL = 2 };
enum yaw_mode_t : uint8_t { YAW_MODE_ANG = 0, YAW_MODE_RATE = 1 };
enum vert_mode_t : uint8_t { VERT_MODE_VEL = 0, VERT_MODE_POS = 1, VERT_MODE_ACC = 2 };
enum horiz_mode_t : uint8_t { HORIZ_MODE_ATTI = 0, HORIZ_MODE_VEL = 1, HORIZ_MODE_POS = 2, HORIZ_MODE_ANG_VEL = 3 };
enum ffwd_flag_t : uint8_t { FFWD_DISABLE = 0, FFWD_ACC = 1, FFWD_VEL_ACC = 2 };

// ctrl_flag: where each field begins and how wide it is, in bits.
inline constexpr unsigned CTRL_FLAG_STAB_SHIFT = 0;         // 1 bit, stab_flag_t
inline constexpr unsigned CTRL_FLAG_HORIZ_FRAME_SHIFT = 1;  // 2 bits, ctrl_level_frame_t
inline constexpr unsigned CTRL_FLAG_YAW_MODE_SHIFT = 3;     // 1 bit, yaw_mode_t
inline constexpr unsigned CTRL_FLAG_VERT_MODE_SHIFT = 4;    // 2 bits, vert_mode_t
inline constexpr unsigned CTRL_FLAG_HORIZ_MODE_SHIFT = 6;   // 2 bits, horiz_mode_t

// ctrl_byte, 16 bits; bits 11-15 are zero.
inline constexpr unsigned CTRL_BYTE_HORIZ_FFWD_SHIFT = 0;  // 2 bits, ffwd_flag_t
inline constexpr unsigned CTRL_BYTE_VERT_FFWD_SHIFT = 2;   // 2 bits, ffwd_flag_t
inline constexpr unsigned CTRL_BYTE_BRAKE_SHIFT = 4;       // 1 bit
inline constexpr unsigned CTRL_BYTE_YAW_CTRL_SHIFT = 5;    // 1 bit
inline constexpr unsigned CTRL_BYTE_AVOID_ATTI_SHIFT = 6;  // 2 bits
inline constexpr unsigned CTRL_BYTE_CTRL_FRAME_SHIFT = 8;  // 1 bit
inline constexpr unsigned CTRL_BYTE_CTRL_MODE_SHIFT = 9;   // 2 bits

// Basic commands.
enum badic_cmd_id_t : uint8_t {
    API_CMD_AUTO_TAKEOFF = 1,
    API_CMD_AUTO_LANDING = 2,
    API_CMD_CMD_GO_HOME = 6,
    API_CMD_EXIT_GO_HOME = 12,
    API_CMD_EXIT_TAKEOFF = 13,
    API_CMD_EXIT_LANDING = 14,
};

// Request for external control.
enum navi_mis_cmd_t : uint8_t { MIS_NULL = 0, MIS_ON = 1, MIS_OFF = 2 };
enum req_mis_device_t : uint8_t { ON_BOARD_DEV = 2 };

// Test switch, from the station and back.
enum AfqtCmdEnum : uint8_t { kAfqtIdle = 0, kAfqtOn = 1, kAfqtOff = 2, kAfqtDone = 3 };

// What the heartbeat reports as afqt_state; there is no 5.
enum AfqtExtStaEnum : uint8_t {
    kStaMotionIdel = 0,
    kStaTakeoff = 1,
    kStaReqApi = 2,
    kStaMotionListRun = 3,
    kStaRtl = 4,
    kStaLanding = 6,
    kStaReloadMotionList = 7,
    kStaUploadFlightData = 8,
    kStaErrSta = 9,
};

// Error codes of the test, as the heartbeat carries them.
enum AfqtErrCodeEnum : uint8_t {
    ERROR_NONE = 0,
    CFG_TABLE_EMPTY = 1,
    WRONR_STATE = 2,
    INIT_MOTION_INVALID = 3,
    INIT_CURR_MOTION_NULL = 4,
    CANNOT_REQ_TAKEOFF = 5,
    TAKEOFF_FAIL = 6,
    REQ_API_TIMEOUT = 7,
    GET_FC_LOG_FAIL = 8,
    CREATE_TAGFILE_FAIL = 9,
    PARSE_MOTIONLIST_FAIL = 10,
    MOTION_NUM_OVERRANGE = 11,
    MOTION_INIT_FAIL = 12,
    MOTION_CFG_FAIL = 13,
};

enum motion_id_t : uint8_t {
    NONE = 0,
    MOTION_HOVER = 1,
    MOTION_STEP = 2,
    MOTION_SWEEP = 3,   // made from "kSweepChirpZ"
    MOTION_CHIRPZ = 4,  // nothing carries it
    MOTION_LINE = 5,
    MOTION_RTL = 6,
    MOTION_REPEAT = 7,
};

// Control loops that a motion excites. Sweep requests carry the flight controller's own numbers, see afqt_sweep_msg_t.
enum AfqtCtrlLoopEnum : uint8_t {
    kLoopNull = 0,
    kAngVelX = 1,
    kAngVelY = 2,
    kAngVelZ = 3,
    kAttiX = 4,
    kAttiY = 5,
    kAttiZ = 6,
    kVelX = 7,
    kVelY = 8,
    kPosX = 9,
    kPosY = 10,
    kVertAcc = 11,
    kVertVel = 12,
    kVertPos = 13,
    kAttiTilt = 14,
    kVelTilt = 15,
    kPosTilt = 16,
    kAttiStbX = 17,
    kAttiStbY = 18,
    kLoopNum = 19,
};

// Sweep request: switch and signal.
enum SweepOnoffEnum : uint8_t { kSweepOff = 0, kSweepOn = 1 };
enum SweepMethodEnum : uint8_t { kChirpZSig = 0, kPrbsSig = 1 };
inline constexpr unsigned SWEEP_FLAG_LOOP_SHIFT = 0;    // 5 bits
inline constexpr unsigned SWEEP_FLAG_METHOD_SHIFT = 5;  // 2 bits, SweepMethodEnum
inline constexpr unsigned SWEEP_FLAG_POINT_SHIFT = 7;   // 1 bit

// Display modes of the flight controller (db_bag's display_mode) that the test looks at.
enum display_mode_code_t : uint8_t {
    KCTRL_ATTI = 1,
    KCTRL_GPS_ATTI = 6,
    KCTRL_ASSITED_TAKEOFF = 10,
    KCTRL_AUTOTAKEOFF = 11,
    KCTRL_AUTOLANDING = 12,
    KCTRL_NAVI_GOHOME = 15,
    KCTRL_NAVI_JOYSTICK = 17,
    KCTRL_FORCE_AUTOLANDING = 33,
};

// Drone types as the flight controller reports them.
enum craft_type_t : int8_t { PRODUCT_RV880 = 41, PRODUCT_QX520 = 53 };

#pragma pack(push, 1)
// (0x03, 0x8e) Basic sticks. The vertical command stands before the yaw command.
struct api_ctrl_data_without_sensor_t {
    uint8_t ctrl_flag;
    float roll_or_x;
    float pitch_or_y;
    float thr_z;
    float yaw;
};

// (0x03, 0x8e) Extended sticks, told from the basic ones by their length.
struct api_ctrl_data_pro_t {
    uint8_t ctrl_flag;
    uint16_t ctrl_byte;
    float stick_cmd[4];  // x, y, vertical, yaw
    float horiz_ffwd_vel[2];
    float horiz_ffwd_acc[2];
    float vert_ffwd[2];
};

// (0x22, 0x49) behind MSG_ID_MOTION_CMD.
struct afqt_sweep_msg_t {
    uint8_t motion_id;      // MOTION_SWEEP
    uint8_t motion_switch;  // SweepOnoffEnum
    uint16_t start_freq;    // 0.1 Hz
    uint16_t end_freq;      // 0.1 Hz
    uint16_t amp;           // tenths of the loop's unit
    uint8_t during_time;    // s
    uint8_t inj_flag;  // loop, method, inj_point: SWEEP_FLAG_*; loops 1 to 10 count from 4, those from 11 on from 15
};

struct afqt_sweep_req_t {
    uint8_t msg_id;  // MSG_ID_MOTION_CMD
    afqt_sweep_msg_t sweep;
};

// (0x22, 0x49) behind MSG_ID_HEART_BEAT.
struct afqt_heart_beat_t {
    uint8_t afqt_state;   // AfqtExtStaEnum
    uint8_t err_code;     // AfqtErrCodeEnum
    uint8_t motion_id;    // motion_id_t
    uint8_t motion_num;   // place in the list, from 1; 0 while no motion is flown
    uint8_t motion_loop;  // AfqtCtrlLoopEnum
};

struct afqt_heart_beat_msg_t {
    uint8_t msg_id;  // MSG_ID_HEART_BEAT
    afqt_heart_beat_t beat;
};

// (0x22, 0x48) Test switch; to the station it is the notice that the test is done.
struct afqt_on_off_cmd_t {
    uint8_t switch_state;  // AfqtCmdEnum
    uint8_t err_code;      // not looked at in a request
    uint8_t file_index;    // which motion list
};

// (0x03, 0x80)
struct cmd_mission_request_onoff_t {
    uint8_t switch_value;  // navi_mis_cmd_t
    uint8_t dev;           // ON_BOARD_DEV
};

// (0x03, 0x2a)
struct api_basic_cmd_t {
    uint8_t basic_cmd_id;  // badic_cmd_id_t
};

// (0x00, 0x01) to the flight controller: its answer.
struct cmd_get_version_t {
    uint8_t result;            // 0
    uint8_t ver;               // bits 0-3 minor, 4-7 major
    uint8_t hardware_ver[16];  // text, zero-padded
    uint32_t loader_ver;       // most significant byte first in the version text
    uint32_t firmware_ver;
    uint32_t cmd_set;
    uint8_t reserv;  // bit 0 go_back
};

// (0x03, 0xfd) answer.
struct cmd_get_drone_type_t {
    int8_t drone_type;  // craft_type_t
};

// (0x03, 0x74) answer.
struct sn_request_ack_t {
    uint8_t result;  // 0
    uint8_t sn[16];  // text, no terminator when full
};
#pragma pack(pop)

static_assert(sizeof(api_ctrl_data_without_sensor_t) == 17);
static_assert(offsetof(api_ctrl_data_without_sensor_t, ctrl_flag) == 0);
static_assert(offsetof(api_ctrl_data_without_sensor_t, roll_or_x) == 1);
static_assert(offsetof(api_ctrl_data_without_sensor_t, pitch_or_y) == 5);
static_assert(offsetof(api_ctrl_data_without_sensor_t, thr_z) == 9);
static_assert(offsetof(api_ctrl_data_without_sensor_t, yaw) == 13);

static_assert(sizeof(api_ctrl_data_pro_t) == 43);
static_assert(offsetof(api_ctrl_data_pro_t, ctrl_flag) == 0);
static_assert(offsetof(api_ctrl_data_pro_t, ctrl_byte) == 1);
static_assert(offsetof(api_ctrl_data_pro_t, stick_cmd) == 3);
static_assert(offsetof(api_ctrl_data_pro_t, horiz_ffwd_vel) == 19);
static_assert(offsetof(api_ctrl_data_pro_t, horiz_ffwd_acc) == 27);
static_assert(offsetof(api_ctrl_data_pro_t, vert_ffwd) == 35);

static_assert(sizeof(afqt_sweep_req_t) == 11);
static_assert(offsetof(afqt_sweep_req_t, sweep) == 1);
static_assert(sizeof(afqt_sweep_msg_t) == 10);
static_assert(offsetof(afqt_sweep_msg_t, motion_id) == 0);
static_assert(offsetof(afqt_sweep_msg_t, motion_switch) == 1);
static_assert(offsetof(afqt_sweep_msg_t, start_freq) == 2);
static_assert(offsetof(afqt_sweep_msg_t, end_freq) == 4);
static_assert(offsetof(afqt_sweep_msg_t, amp) == 6);
static_assert(offsetof(afqt_sweep_msg_t, during_time) == 8);
static_assert(offsetof(afqt_sweep_msg_t, inj_flag) == 9);

static_assert(sizeof(afqt_heart_beat_msg_t) == 6);
static_assert(offsetof(afqt_heart_beat_msg_t, beat) == 1);
static_assert(sizeof(afqt_heart_beat_t) == 5);
static_assert(offsetof(afqt_heart_beat_t, afqt_state) == 0);
static_assert(offsetof(afqt_heart_beat_t, err_code) == 1);
static_assert(offsetof(afqt_heart_beat_t, motion_id) == 2);
static_assert(offsetof(afqt_heart_beat_t, motion_num) == 3);
static_assert(offsetof(afqt_heart_beat_t, motion_loop) == 4);

static_assert(sizeof(afqt_on_off_cmd_t) == 3);
static_assert(offsetof(afqt_on_off_cmd_t, switch_state) == 0);
static_assert(offsetof(afqt_on_off_cmd_t, err_code) == 1);
static_assert(offsetof(afqt_on_off_cmd_t, file_index) == 2);

static_assert(sizeof(cmd_mission_request_onoff_t) == 2);
static_assert(offsetof(cmd_mission_request_onoff_t, switch_value) == 0);
static_assert(offsetof(cmd_mission_request_onoff_t, dev) == 1);
static_assert(sizeof(api_basic_cmd_t) == 1);

static_assert(sizeof(cmd_get_version_t) == 31);
static_assert(offsetof(cmd_get_version_t, ver) == 1);
static_assert(offsetof(cmd_get_version_t, hardware_ver) == 2);
static_assert(offsetof(cmd_get_version_t, loader_ver) == 18);
static_assert(offsetof(cmd_get_version_t, firmware_ver) == 22);
static_assert(offsetof(cmd_get_version_t, cmd_set) == 26);
static_assert(offsetof(cmd_get_version_t, reserv) == 30);
static_assert(sizeof(cmd_get_drone_type_t) == 1);
static_assert(sizeof(sn_request_ack_t) == 17);
static_assert(offsetof(sn_request_ack_t, sn) == 1);
