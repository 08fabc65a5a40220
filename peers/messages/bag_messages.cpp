// Subscription of the flight controller's data, and its pushes.
#include "db_bag_wire.h"
#include "flight_v1_wire.h"
#include "messages/message_fields.h"

namespace peers {
namespace {

constexpr field_t ADD[] = {
    WIRE_FIELD(db_bag_add_req_t, index, u8),
    WIRE_FIELD(db_bag_add_req_t, frequence, u16, 1, "Hz"),
    WIRE_FIELD(db_bag_add_req_t, data_num, u8),
    {"items", sizeof(db_bag_add_req_t), field_type::rest_u32},
};

constexpr field_t RESET[] = {{"reserved", 0, field_type::u8}};
constexpr field_t DELETE[] = {{"index", 0, field_type::u8}};

constexpr field_t UPDATE_FREQ[] = {
    WIRE_FIELD(db_bag_update_freq_req_t, index, u8),
    WIRE_FIELD(db_bag_update_freq_req_t, frequence, u16, 1, "Hz"),
};

// A push: the index of the bag, then the bag.
#pragma pack(push, 1)
struct push_t {
    uint8_t index;
    db_bag1_t bag;
};
#pragma pack(pop)

constexpr value_name_t FLIGHT_STATES[] = {{0, "motors off"}, {1, "on ground"}, {2, "in air"}, {0, nullptr}};

#define IN_BAG(name, member, type, ...) WIRE_FIELD_AS(name, push_t, bag.member, type __VA_OPT__(, ) __VA_ARGS__)
#define IN_BAG_BIT(name, member, bit) WIRE_BITS(name, push_t, bag.member, u8, bit, 1)
constexpr field_t PUSH[] = {
    WIRE_FIELD(push_t, index, u8),
    IN_BAG("position", db_sys_navi_data.horiz_abs_pos, f64, 2, "rad"),
    IN_BAG("altitude", db_sys_navi_data.vert_abs_pos, f32, 1, "m"),
    IN_BAG("gps_level", db_gps_ctrl_level.ctrl_level, u8),
    IN_BAG("gps.date", db_gps_data_with_level.Data, u32),
    IN_BAG("gps.time", db_gps_data_with_level.Time, u32),
    IN_BAG("gps.lon", db_gps_data_with_level.lon, i32),
    IN_BAG("gps.lat", db_gps_data_with_level.lat, i32),
    IN_BAG("gps.height", db_gps_data_with_level.Hmsl, i32),
    IN_BAG("gps.velocity", db_gps_data_with_level.Vel_N, f32, 3, "m/s"),
    IN_BAG("gps.h_level", db_gps_data_with_level.h_level, u16),
    IN_BAG("gps.v_level", db_gps_data_with_level.v_level, u16),
    IN_BAG("app.position", db_app_pos_time.app_pos, f64, 2, "rad"),
    IN_BAG("app.unix_time", db_app_pos_time.unix_timestamp, u32, 1, "s"),
    IN_BAG_BIT("app.position_valid", db_app_pos_time.flg, 0),
    IN_BAG_BIT("app.time_valid", db_app_pos_time.flg, 1),
    IN_BAG_BIT("app.net_valid", db_app_pos_time.flg, 2),
    IN_BAG("fsm", fc_fsm.fsm, u8, 1, "", FLIGHT_STATES),
    IN_BAG("display_mode", display_mode.display_mode, u8),
    IN_BAG("navi.version", navi_data_raw.version, u16),
    IN_BAG("navi.flag", navi_data_raw.flag, u16),
    IN_BAG("navi.position", navi_data_raw.pn_x, f32, 3, "m"),
    IN_BAG("navi.velocity", navi_data_raw.vn_x, f32, 3, "m/s"),
    IN_BAG("navi.acceleration", navi_data_raw.an_x, f32, 3, "m/s2"),
    IN_BAG("navi.q", navi_data_raw.q, f32, 4),
    IN_BAG("navi.count", navi_data_raw.cnt, u16),
    IN_BAG("navi.timestamp", navi_data_raw.timestamp, u16),
    IN_BAG("attitude.q", atti_data.q, f32, 4),
};
#undef IN_BAG
#undef IN_BAG_BIT

constexpr field_t CODE_ACK[] = {{"ret_code", 0, field_type::u8}};

constexpr message_kind REQUEST = message_kind::request;
constexpr message_kind REPLY = message_kind::reply;
constexpr uint8_t SET = SET_FLIGHT_CONTROLLER;

constexpr parties_t SUBSCRIBED = {HOST_FLIGHT_SERVICE, HOST_FLIGHT_CONTROLLER};
constexpr parties_t PUSHED = {HOST_FLIGHT_CONTROLLER, HOST_FLIGHT_SERVICE};

constexpr message_t MESSAGES[] = {
    {"bag_add", "subscribes data items", SUBSCRIBED, SET, ID_DB_BAG_ADD, REQUEST, 0, sizeof(db_bag_add_req_t), ADD},
    {"bag_add_ack", "subscribed or not", SUBSCRIBED, SET, ID_DB_BAG_ADD, REPLY, 0, 1, CODE_ACK},
    {"bag_reset", "ends all subscriptions", SUBSCRIBED, SET, ID_DB_BAG_RESET, REQUEST, 0, 1, RESET},
    {"bag_reset_ack", "done or not", SUBSCRIBED, SET, ID_DB_BAG_RESET, REPLY, 0, 1, CODE_ACK},
    {"bag_delete", "ends one subscription", SUBSCRIBED, SET, ID_DB_BAG_DELETE, REQUEST, 0, 1, DELETE},
    {"bag_delete_ack", "done or not", SUBSCRIBED, SET, ID_DB_BAG_DELETE, REPLY, 0, 1, CODE_ACK},
    {"bag_update_freq", "changes the rate of a subscription", SUBSCRIBED, SET, ID_DB_BAG_UPDATE_FREQ, REQUEST, 0,
     sizeof(db_bag_update_freq_req_t), UPDATE_FREQ},
    {"bag_update_freq_ack", "done or not", SUBSCRIBED, SET, ID_DB_BAG_UPDATE_FREQ, REPLY, 0, 1, CODE_ACK},
    {"bag_push", "the subscribed data", PUSHED, SET, ID_DB_BAG_PUSH, REQUEST, 0, sizeof(push_t), PUSH},
};

}  // namespace

std::span<const message_t> bag_messages()
{
    return MESSAGES;
}

}  // namespace peers
