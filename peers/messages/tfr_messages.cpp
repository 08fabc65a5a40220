// Temporary flight restrictions: their transfer from the app, and the areas pushed to the flight controller.
#include "flight_v1_wire.h"
#include "messages/message_fields.h"
#include "tfr_wire.h"

namespace peers {
namespace {

constexpr value_name_t TYPES[] = {
    {UPDATE_REQ, "start"}, {UPDATE_DATA, "fragment"}, {UPDATE_FINISH, "finish"}, {0, nullptr}};

constexpr value_name_t ANSWER_TYPES[] = {
    {TFR_UID, "uid"}, {TFR_NEXT_SET, "next fragment"}, {TFR_SIG_RES, "finished"}, {0, nullptr}};

constexpr value_name_t ACKS[] = {
    {TFR_UPDATE_SUCCESS, "ok"},
    {TFR_UPDATE_SEQ_NOT_CONTINUE, "another fragment is expected"},
    {TFR_UPDATE_SAVED_DATA_TOO_MUCH, "more bytes than announced"},
    {TFR_UPDATE_REQ_START_FAIL, "start failed"},
    {TFR_UPDATE_SAVE_DATA_FAIL, "not written"},
    {TFR_UPDATE_ACK_TYPE_ERROR, "unknown type"},
    {TFR_UPDATE_STATE_ERROR, "not in this state"},
    {TFR_UPDATE_PACKET_DATA_ERROR, "wrong length"},
    {TFR_UPDATE_MD5_CHECK_FAIL, "digest is wrong"},
    {TFR_UPDATE_ERR_UNKNOW, "fewer bytes than announced"},
    {0, nullptr},
};

constexpr field_t TRANSFER[] = {
    WIRE_NAMED(update_tfr_req_t, type, u8, TYPES),           WIRE_FIELD(update_tfr_req_t, pkg_seq, u16),
    WIRE_FIELD(update_tfr_req_t, pkg_size, u32, 1, "bytes"), WIRE_FIELD(update_tfr_req_t, data_size, u8, 1, "bytes"),
    {"data", sizeof(update_tfr_req_t), field_type::rest},
};

// The same bytes hold a uid or a number; the type says which.
constexpr field_t TRANSFER_ACK[] = {
    WIRE_NAMED(update_tfr_rsp_t, ack, u8, ACKS),
    WIRE_NAMED(update_tfr_rsp_t, type, u8, ANSWER_TYPES),
    WIRE_FIELD(update_tfr_rsp_t, uid, bytes, TFR_UID_SIZE),
    WIRE_FIELD(update_tfr_rsp_t, seq, u16),
};

#define IN_AREA(name, member, type, ...) \
    WIRE_FIELD_AS(name, vela_flight_push_tfr_t, tfr_data.member, type __VA_OPT__(, ) __VA_ARGS__)
constexpr field_t PUSH[] = {
    WIRE_FIELD(vela_flight_push_tfr_t, uid, bytes, TFR_UID_SIZE),
    WIRE_FIELD(vela_flight_push_tfr_t, num, u8),
    WIRE_FIELD(vela_flight_push_tfr_t, idx, u8),
    IN_AREA("area_id", area_id, u32),
    IN_AREA("point_num", point_num, u8),
    IN_AREA("points", points, i32, 2 * TFR_MAX_POINTS, "1e-6 deg (lng lat)"),
    IN_AREA("center.lng", center.lng, i32, 1, "1e-6 deg"),
    IN_AREA("center.lat", center.lat, i32, 1, "1e-6 deg"),
    IN_AREA("radius", radius, u16, 1, "m"),
    IN_AREA("shape", shape, u8),
    IN_AREA("area_level", area_level, u8),
    IN_AREA("country", country, u16),
    IN_AREA("start_at", start_at, u32, 1, "s"),
    IN_AREA("end_at", end_at, u32, 1, "s"),
};
#undef IN_AREA

constexpr message_kind REQUEST = message_kind::request;
constexpr message_kind REPLY = message_kind::reply;

constexpr parties_t DELIVERED = {HOST_APP, HOST_FLIGHT_SERVICE};
constexpr parties_t PUSHED = {HOST_FLIGHT_SERVICE, HOST_FLIGHT_CONTROLLER};

constexpr message_t MESSAGES[] = {
    {"tfr_transfer", "starts, carries a fragment, or finishes", DELIVERED, SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE,
     REQUEST, 0, sizeof(update_tfr_req_t), TRANSFER},
    {"tfr_transfer_ack", "stored uid, next fragment, or the end", DELIVERED, SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE,
     REPLY, 0, sizeof(update_tfr_rsp_t), TRANSFER_ACK},
    {"tfr_push", "one of the areas nearest to the aircraft", PUSHED, SET_FLYLIMIT, ID_TFR_PUSH, REQUEST, 0,
     sizeof(vela_flight_push_tfr_t), PUSH},
};

}  // namespace

std::span<const message_t> tfr_messages()
{
    return MESSAGES;
}

}  // namespace peers
