// The temporary-flight-restriction (TFR) file, its transfer from the app and the push of single areas to the flight
// controller. Shared by service and peers. All records packed, little-endian.
#pragma once

#include <cstddef>
#include <cstdint>

// The file: head, `area_num` areas one behind the other, tail. Each area begins with the item head; its point_num
// decides what follows: 0 a circle (27 bytes in all), 1 to 10 a polygon (27 + 8 x point_num bytes in all).
inline constexpr uint8_t TFR_MAX_POINTS = 10;
inline constexpr size_t TFR_UID_SIZE = 16;
inline constexpr size_t TFR_MD5_SIZE = 16;

// Areas that the service keeps, nearest first.
inline constexpr uint8_t TFR_KEPT_AREAS = 5;

#pragma pack(push, 1)
struct tfr_head_t {
    uint16_t area_num;
    uint8_t type;  // read, not used
};

// Units of 1e-6 degree, east and north positive. Longitude comes first.
struct vela_tfr_gps {
    int32_t lng;
    int32_t lat;
};

struct vela_tfr_item_head_t {
    uint32_t area_id;
    uint8_t point_num;
};

// What every area ends with. Shape, level and country pass through to the flight controller, which gives them meaning.
struct vela_tfr_item_polygon_end_t {
    vela_tfr_gps center;
    uint16_t radius;  // metres around the center
    uint8_t shape;
    uint8_t area_level;
    uint16_t country;
    uint32_t start_at;  // validity, seconds since 1970 (UTC)
    uint32_t end_at;
};

struct vela_tfr_item_circle_t {
    uint32_t area_id;
    uint8_t point_num;  // 0
    vela_tfr_gps center;
    uint16_t radius;
    uint8_t shape;
    uint8_t area_level;
    uint16_t country;
    uint32_t start_at;
    uint32_t end_at;
};

// One area with room for all corners: in memory and in the push. Unused corners are zero.
struct vela_tfr_item_t {
    uint32_t area_id;
    uint8_t point_num;
    vela_tfr_gps points[TFR_MAX_POINTS];
    vela_tfr_gps center;
    uint16_t radius;
    uint8_t shape;
    uint8_t area_level;
    uint16_t country;
    uint32_t start_at;
    uint32_t end_at;
};

struct tfr_tail_t {
    uint8_t uid[TFR_UID_SIZE];        // names this file's content; opaque
    uint8_t signature[TFR_MD5_SIZE];  // MD5 of every byte of the file before it
};

// (0x03, 0xcd) Transfer request; `data_size` bytes follow the last field. Start and finish need only the type.
struct update_tfr_req_t {
    uint8_t type;       // update_tfr_req_type_t
    uint16_t pkg_seq;   // number of this fragment; 0 starts a fresh file
    uint32_t pkg_size;  // bytes of the whole file
    uint8_t data_size;
};

// Its reply, always the whole record.
struct update_tfr_rsp_t {
    uint8_t ack;   // update_tfr_ack_t
    uint8_t type;  // update_tfr_rsp_type_t: which member holds
    union {
        uint8_t uid[TFR_UID_SIZE];  // of the stored file, or zero
        uint16_t seq;               // next expected fragment
        uint8_t sign_result;        // always 0
    };
};

// (0x1f, 0x12) One of the areas nearest to the aircraft, once a second. All zero when there is none.
struct vela_flight_push_tfr_t {
    uint8_t uid[TFR_UID_SIZE];  // of the file the areas come from
    uint8_t num;                // areas kept, 0 to 5
    uint8_t idx;                // which of them this is, 0 to num - 1
    vela_tfr_item_t tfr_data;
};
#pragma pack(pop)

enum update_tfr_req_type_t : uint8_t {
    UPDATE_REQ = 0,
    UPDATE_DATA = 1,
    UPDATE_FINISH = 2,
};

enum update_tfr_rsp_type_t : uint8_t {
    TFR_UID = 0,
    TFR_NEXT_SET = 1,
    TFR_SIG_RES = 2,
};

enum update_tfr_ack_t : uint8_t {
    TFR_UPDATE_SUCCESS = 0,
    TFR_UPDATE_SEQ_NOT_CONTINUE = 1,
    TFR_UPDATE_SAVED_DATA_TOO_MUCH = 2,
    TFR_UPDATE_REQ_START_FAIL = 3,  // never sent
    TFR_UPDATE_SAVE_DATA_FAIL = 4,
    TFR_UPDATE_ACK_TYPE_ERROR = 5,
    TFR_UPDATE_STATE_ERROR = 6,
    TFR_UPDATE_PACKET_DATA_ERROR = 7,
    TFR_UPDATE_MD5_CHECK_FAIL = 8,
    TFR_UPDATE_ERR_UNKNOW = 255,
};

// Longest request that is looked at.
inline constexpr size_t TFR_MAX_REQUEST = 270;

static_assert(sizeof(tfr_head_t) == 3);
static_assert(offsetof(tfr_head_t, area_num) == 0);
static_assert(offsetof(tfr_head_t, type) == 2);

static_assert(sizeof(vela_tfr_gps) == 8);
static_assert(offsetof(vela_tfr_gps, lng) == 0);
static_assert(offsetof(vela_tfr_gps, lat) == 4);

static_assert(sizeof(vela_tfr_item_head_t) == 5);
static_assert(offsetof(vela_tfr_item_head_t, area_id) == 0);
static_assert(offsetof(vela_tfr_item_head_t, point_num) == 4);

static_assert(sizeof(vela_tfr_item_polygon_end_t) == 22);
static_assert(offsetof(vela_tfr_item_polygon_end_t, center) == 0);
static_assert(offsetof(vela_tfr_item_polygon_end_t, radius) == 8);
static_assert(offsetof(vela_tfr_item_polygon_end_t, shape) == 10);
static_assert(offsetof(vela_tfr_item_polygon_end_t, area_level) == 11);
static_assert(offsetof(vela_tfr_item_polygon_end_t, country) == 12);
static_assert(offsetof(vela_tfr_item_polygon_end_t, start_at) == 14);
static_assert(offsetof(vela_tfr_item_polygon_end_t, end_at) == 18);

static_assert(sizeof(vela_tfr_item_circle_t) == 27);
static_assert(offsetof(vela_tfr_item_circle_t, area_id) == 0);
static_assert(offsetof(vela_tfr_item_circle_t, point_num) == 4);
static_assert(offsetof(vela_tfr_item_circle_t, center) == 5);
static_assert(offsetof(vela_tfr_item_circle_t, radius) == 13);
static_assert(offsetof(vela_tfr_item_circle_t, shape) == 15);
static_assert(offsetof(vela_tfr_item_circle_t, area_level) == 16);
static_assert(offsetof(vela_tfr_item_circle_t, country) == 17);
static_assert(offsetof(vela_tfr_item_circle_t, start_at) == 19);
static_assert(offsetof(vela_tfr_item_circle_t, end_at) == 23);

static_assert(sizeof(vela_tfr_item_t) == 107);
static_assert(offsetof(vela_tfr_item_t, area_id) == 0);
static_assert(offsetof(vela_tfr_item_t, point_num) == 4);
static_assert(offsetof(vela_tfr_item_t, points) == 5);
static_assert(offsetof(vela_tfr_item_t, center) == 85);
static_assert(offsetof(vela_tfr_item_t, radius) == 93);
static_assert(offsetof(vela_tfr_item_t, shape) == 95);
static_assert(offsetof(vela_tfr_item_t, area_level) == 96);
static_assert(offsetof(vela_tfr_item_t, country) == 97);
static_assert(offsetof(vela_tfr_item_t, start_at) == 99);
static_assert(offsetof(vela_tfr_item_t, end_at) == 103);

static_assert(sizeof(tfr_tail_t) == 32);
static_assert(offsetof(tfr_tail_t, uid) == 0);
static_assert(offsetof(tfr_tail_t, signature) == 16);

static_assert(sizeof(update_tfr_req_t) == 8);
static_assert(offsetof(update_tfr_req_t, type) == 0);
static_assert(offsetof(update_tfr_req_t, pkg_seq) == 1);
static_assert(offsetof(update_tfr_req_t, pkg_size) == 3);
static_assert(offsetof(update_tfr_req_t, data_size) == 7);

static_assert(sizeof(update_tfr_rsp_t) == 18);
static_assert(offsetof(update_tfr_rsp_t, ack) == 0);
static_assert(offsetof(update_tfr_rsp_t, type) == 1);
static_assert(offsetof(update_tfr_rsp_t, uid) == 2);
static_assert(offsetof(update_tfr_rsp_t, seq) == 2);
static_assert(offsetof(update_tfr_rsp_t, sign_result) == 2);

static_assert(sizeof(vela_flight_push_tfr_t) == 125);
static_assert(offsetof(vela_flight_push_tfr_t, uid) == 0);
static_assert(offsetof(vela_flight_push_tfr_t, num) == 16);
static_assert(offsetof(vela_flight_push_tfr_t, idx) == 17);
static_assert(offsetof(vela_flight_push_tfr_t, tfr_data) == 18);
