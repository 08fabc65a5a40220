// The flight-controller data bag: what the service subscribes to and what the flight controller pushes. Shared by
// service and peers. All records packed, little-endian; positions in radians.
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)
struct sys_navi_data_pos_t {
    double horiz_abs_pos[2];  // latitude, longitude
    float vert_abs_pos;       // altitude, metres
};

struct gps_ctrl_level_t {
    uint8_t ctrl_level;  // 3 and above: a usable fix
};

struct gps_data_with_level_t {
    uint32_t Data;  // UTC date as the decimal number YYYYMMDD; 0 without a fix
    uint32_t Time;  // UTC time as HHMMSS
    int32_t lon;
    int32_t lat;
    int32_t Hmsl;
    float Vel_N;
    float Vel_E;
    float Vel_D;
    uint16_t h_level;
    uint16_t v_level;
};

struct app_pos_time_t {
    double app_pos[2];  // latitude, longitude of the phone
    uint32_t unix_timestamp;
    uint8_t flg;  // APP_POS_*
    uint8_t rsv[3];
};

struct fc_fsm_t {
    uint8_t fsm;  // 1 on ground, 2 in air, else motors off
};

struct sys_mode_interface_display_mode_t {
    uint8_t display_mode;
};

struct imu_atti_navi_data_t {
    uint16_t version;
    uint16_t flag;
    float pn_x;  // position, metres north, east, down
    float pn_y;
    float pn_z;
    float vn_x;  // velocity, m/s
    float vn_y;
    float vn_z;
    float an_x;  // acceleration, m/s2
    float an_y;
    float an_z;
    float q[4];
    uint16_t resv;
    uint16_t cnt;
    uint16_t timestamp;
    uint16_t end;
};

struct sys_navi_data_q_cur_t {
    float q[4];  // attitude quaternion w, x, y, z
};

// Bag 0 in the order of its uids, packed back to back by the flight controller.
struct db_bag1_t {
    sys_navi_data_pos_t db_sys_navi_data;
    gps_ctrl_level_t db_gps_ctrl_level;
    gps_data_with_level_t db_gps_data_with_level;
    app_pos_time_t db_app_pos_time;
    fc_fsm_t fc_fsm;
    sys_mode_interface_display_mode_t display_mode;
    imu_atti_navi_data_t navi_data_raw;
    sys_navi_data_q_cur_t atti_data;
};

// Head of the "add bag" request; `data_num` uids (uint32) follow.
struct db_bag_add_req_t {
    uint8_t index;
    uint16_t frequence;  // Hz
    uint8_t reserved;    // zero
    uint8_t data_num;    // at most DB_BAG_MAX_UIDS
};

struct db_bag_update_freq_req_t {
    uint8_t index;
    uint16_t frequence;  // Hz
};
#pragma pack(pop)

static_assert(sizeof(sys_navi_data_pos_t) == 20 && offsetof(sys_navi_data_pos_t, vert_abs_pos) == 16);
static_assert(sizeof(gps_ctrl_level_t) == 1 && sizeof(fc_fsm_t) == 1);
static_assert(sizeof(sys_mode_interface_display_mode_t) == 1);
static_assert(sizeof(gps_data_with_level_t) == 36 && offsetof(gps_data_with_level_t, Time) == 4);
static_assert(offsetof(gps_data_with_level_t, lon) == 8 && offsetof(gps_data_with_level_t, lat) == 12);
static_assert(offsetof(gps_data_with_level_t, Hmsl) == 16 && offsetof(gps_data_with_level_t, Vel_N) == 20);
static_assert(offsetof(gps_data_with_level_t, Vel_E) == 24 && offsetof(gps_data_with_level_t, Vel_D) == 28);
static_assert(offsetof(gps_data_with_level_t, h_level) == 32 && offsetof(gps_data_with_level_t, v_level) == 34);
static_assert(sizeof(app_pos_time_t) == 24 && offsetof(app_pos_time_t, unix_timestamp) == 16);
static_assert(offsetof(app_pos_time_t, flg) == 20);
static_assert(sizeof(imu_atti_navi_data_t) == 64 && offsetof(imu_atti_navi_data_t, flag) == 2);
static_assert(offsetof(imu_atti_navi_data_t, pn_x) == 4 && offsetof(imu_atti_navi_data_t, pn_y) == 8);
static_assert(offsetof(imu_atti_navi_data_t, pn_z) == 12 && offsetof(imu_atti_navi_data_t, vn_x) == 16);
static_assert(offsetof(imu_atti_navi_data_t, vn_y) == 20 && offsetof(imu_atti_navi_data_t, vn_z) == 24);
static_assert(offsetof(imu_atti_navi_data_t, an_x) == 28 && offsetof(imu_atti_navi_data_t, an_y) == 32);
static_assert(offsetof(imu_atti_navi_data_t, an_z) == 36 && offsetof(imu_atti_navi_data_t, q) == 40);
static_assert(offsetof(imu_atti_navi_data_t, resv) == 56 && offsetof(imu_atti_navi_data_t, cnt) == 58);
static_assert(offsetof(imu_atti_navi_data_t, timestamp) == 60 && offsetof(imu_atti_navi_data_t, end) == 62);
static_assert(sizeof(sys_navi_data_q_cur_t) == 16);
static_assert(sizeof(db_bag1_t) == 163 && offsetof(db_bag1_t, db_gps_ctrl_level) == 20);
static_assert(offsetof(db_bag1_t, db_gps_data_with_level) == 21 && offsetof(db_bag1_t, db_app_pos_time) == 57);
static_assert(offsetof(db_bag1_t, fc_fsm) == 81 && offsetof(db_bag1_t, display_mode) == 82);
static_assert(offsetof(db_bag1_t, navi_data_raw) == 83 && offsetof(db_bag1_t, atti_data) == 147);
static_assert(sizeof(db_bag_add_req_t) == 5 && offsetof(db_bag_add_req_t, frequence) == 1);
static_assert(offsetof(db_bag_add_req_t, reserved) == 3 && offsetof(db_bag_add_req_t, data_num) == 4);
static_assert(sizeof(db_bag_update_freq_req_t) == 3 && offsetof(db_bag_update_freq_req_t, frequence) == 1);

// app_pos_time_t::flg; bits 3 to 7 are reserved.
inline constexpr uint8_t APP_POS_VALID = 1u << 0;
inline constexpr uint8_t APP_TIME_VALID = 1u << 1;
inline constexpr uint8_t APP_NET_VALID = 1u << 2;

// The add request's size is an 8-bit number: 5 + 4 * 62 = 253.
inline constexpr uint8_t DB_BAG_MAX_UIDS = 62;

// Data items of bag 0, in packing order.
inline constexpr uint32_t BAG1_UIDS[] = {
    0x57000000,  // db_sys_navi_data
    0x55000000,  // db_gps_ctrl_level
    0x57500000,  // db_gps_data_with_level
    0x56510000,  // db_app_pos_time
    0x20cfb02a,  // fc_fsm
    0x1a67d6a1,  // display_mode
    0x1d08cda5,  // navi_data_raw
    0xa493281f,  // atti_data
};
