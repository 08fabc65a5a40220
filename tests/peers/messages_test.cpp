#include "messages/decode.h"

#include <gmock/gmock.h>

#include <set>

#include "afqt_wire.h"
#include "db_bag_wire.h"
#include "flight_v1_wire.h"
#include "flight_version_wire.h"
#include "tfr_wire.h"
#include "upgrade_wire.h"

namespace {

using peers::bytes_of;
using testing::HasSubstr;

std::string asked(uint8_t set, uint8_t id, peers::bytes_view payload, uint16_t server = HOST_FLIGHT_SERVICE)
{
    const auto message = peers::decode_message(set, id, false, HOST_APP, server, payload);
    return message.name + ": " + message.problem + peers::fields_text(message);
}

std::string answered(uint8_t set, uint8_t id, peers::bytes_view payload, uint16_t server = HOST_FLIGHT_SERVICE)
{
    const auto message = peers::decode_message(set, id, true, server, HOST_APP, payload);
    return message.name + ": " + message.problem + peers::fields_text(message);
}

TEST(Messages, ShowNamesUnitsAndMeanings)
{
    EXPECT_EQ(
        answered(SET_COMMON, ID_UPGRADE_DATA, bytes_of(upgrade_data_transfer_ack_t{UPGRADE_RET_BLOCK_NUMBER, -1})),
        "upgrade_data_ack: ret_code=240 (another block is expected)  block_number=-1");
    const uint8_t block[] = {0, 3, 0, 0, 0, 2, 0, 0xab, 0xcd};
    EXPECT_EQ(asked(SET_COMMON, ID_UPGRADE_DATA, block),
              "upgrade_data: encryption_type=0  block_number=3  block_size=2 bytes  block_data=abcd");
    vela_fc_set_set_motor_ext_err_req hold = {1, 0x1001, {}};
    hold.motor_ext_err_status[0] = {0x21, MOTOR_DISABLE};
    EXPECT_THAT(asked(SET_FLIGHT_CONTROLLER, ID_SET_MOTOR_ERR, bytes_of(hold)),
                HasSubstr("requester_id=4097  motor_ext_err_code=33  status_to_set=1 (motors held)"));
    const upgrade_flylimit_version_push_t announced = {{1, 0, 0, 2}, 0, FLYLIMIT_USE_FLIGHT_UPDATE_DYNAMIC, {}};
    EXPECT_THAT(asked(SET_FLIGHT_CONTROLLER, ID_FLYLIMIT_VERSION, bytes_of(announced)),
                HasSubstr("static_db_version=2.0.0.1"));

    const uint8_t fragment[] = {UPDATE_DATA, 3, 0, 0xe8, 3, 0, 0, 2, 0xab, 0xcd};
    EXPECT_EQ(asked(SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE, fragment),
              "tfr_transfer: type=1 (fragment)  pkg_seq=3  pkg_size=1000 bytes  data_size=2 bytes  data=abcd");
    update_tfr_rsp_t next = {TFR_UPDATE_SEQ_NOT_CONTINUE, TFR_NEXT_SET, {}};
    next.seq = 260;
    EXPECT_THAT(answered(SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE, bytes_of(next)),
                AllOf(HasSubstr("ack=1 (another fragment is expected)  type=1 (next fragment)  uid=0401"),
                      HasSubstr("seq=260")));
    vela_flight_push_tfr_t push = {{}, 3, 1, {}};
    push.tfr_data.area_id = 1001;
    push.tfr_data.points[0] = {-1, 2};
    push.tfr_data.center.lat = 48137154;
    push.tfr_data.radius = 500;
    push.tfr_data.end_at = UINT32_MAX;
    EXPECT_THAT(asked(SET_FLYLIMIT, ID_TFR_PUSH, bytes_of(push)),
                AllOf(HasSubstr("num=3  idx=1  area_id=1001"), HasSubstr("points=[-1 2 0"),
                      HasSubstr("center.lat=48137154 1e-6 deg  radius=500 m"), HasSubstr("end_at=4294967295 s")));

    std::vector<uint8_t> bag(1 + sizeof(db_bag1_t));
    bag[1 + offsetof(db_bag1_t, fc_fsm.fsm)] = 2;
    const double longitude = -0.5;
    std::memcpy(&bag[1 + offsetof(db_bag1_t, db_sys_navi_data.horiz_abs_pos[1])], &longitude, sizeof longitude);
    EXPECT_THAT(asked(SET_FLIGHT_CONTROLLER, ID_DB_BAG_PUSH, bag),
                AllOf(HasSubstr("position=[0 -0.5] rad"), HasSubstr("fsm=2 (in air)")));
    const uint8_t add[] = {0, 50, 0, 0, 2, 0, 0, 0, 0x57, 1, 0, 0, 0};
    EXPECT_THAT(asked(SET_FLIGHT_CONTROLLER, ID_DB_BAG_ADD, add),
                HasSubstr("frequence=50 Hz  data_num=2  items=[1459617792 1]"));
}

TEST(Messages, OfOneIdAreToldApartByServerLengthAndFirstByte)
{
    flight_version_ack_t ack = {};
    ack.database.Loader = {4, 3, 2, 1};
    EXPECT_THAT(answered(SET_COMMON, ID_GET_VERSION, bytes_of(ack)), HasSubstr("database.version=1.2.3.4"));
    EXPECT_THAT(answered(SET_COMMON, ID_GET_VERSION, bytes_of(ack), HOST_NFZ_UPGRADE),
                HasSubstr("database_version: long: 61 bytes, 30 expected"));
    EXPECT_THAT(asked(SET_COMMON, ID_GET_VERSION, {}, HOST_NFZ_UPGRADE), HasSubstr("get_version: "));

    const api_ctrl_data_without_sensor_t basic = {0x9b, 1, 2, 4, 3};
    EXPECT_THAT(asked(SET_FLIGHT_CONTROLLER, CMD_ID_CTRL_DATA, bytes_of(basic)),
                AllOf(HasSubstr("horiz_mode=2 (position, m)"), HasSubstr("thr_z=4  yaw=3")));
    const api_ctrl_data_pro_t pro = {0x81, FFWD_VEL_ACC, {1, 2, 3, 4}, {8, 0}, {}, {}};
    EXPECT_THAT(asked(SET_FLIGHT_CONTROLLER, CMD_ID_CTRL_DATA, bytes_of(pro)), HasSubstr("horiz_ffwd_vel=[8 0] m/s"));
    EXPECT_THAT(asked(SET_FLIGHT_CONTROLLER, CMD_ID_CTRL_DATA, bytes_of(pro).first(40)),
                HasSubstr("long: 40 bytes, 17 expected"));
    const afqt_sweep_req_t sweep = {MSG_ID_MOTION_CMD, {MOTION_SWEEP, kSweepOn, 5, 80, 20, 20, 0x87}};
    EXPECT_THAT(asked(SET_AFQT, CMD_ID_AFQT_MSG, bytes_of(sweep)), HasSubstr("loop=7"));
    const afqt_heart_beat_msg_t beat = {MSG_ID_HEART_BEAT, {kStaErrSta, CANNOT_REQ_TAKEOFF, 0, 0, 0}};
    EXPECT_THAT(asked(SET_AFQT, CMD_ID_AFQT_MSG, bytes_of(beat)), HasSubstr("(take-off not obeyed)"));
    EXPECT_THAT(asked(SET_AFQT, CMD_ID_AFQT_MSG, bytes_of(uint8_t{9})), HasSubstr("unknown"));
    EXPECT_THAT(asked(0x44, 0x01, {}), HasSubstr("unknown"));
    EXPECT_THAT(answered(SET_COMMON, ID_UPGRADE_DATA, bytes_of(REPLY_UNKNOWN_COMMAND)),
                HasSubstr("does not know this command"));
}

// Every message at every length: fields only when the length is right, and nothing is read behind the payload (the
// address sanitizer looks on).
TEST(Messages, AreSoundAndShownAtTheirLengthOnly)
{
    std::set<std::string> names;
    for (const auto group : peers::message_groups()) {
        for (const peers::message_t& message : group) {
            EXPECT_TRUE(names.insert(message.name).second) << message.name;
            std::set<std::string> fields;
            for (const peers::field_t& field : message.fields) {
                EXPECT_TRUE(fields.insert(field.name).second) << message.name << "." << field.name;
                EXPECT_LE(field.offset, message.size) << message.name << "." << field.name;
            }
            const bool reply = message.kind == peers::message_kind::reply;
            for (size_t length = 0; length <= 300; length++) {
                SCOPED_TRACE(testing::Message() << message.name << " at " << length);
                std::vector<uint8_t> payload(length, 0x5a);
                if (message.first_byte >= 0 && length > 0) payload[0] = static_cast<uint8_t>(message.first_byte);
                // Its length may make it another message.
                if (&message != peers::find_message(message.set, message.id, message.kind, message.server, payload)) {
                    EXPECT_NE(length, message.size);
                    continue;
                }
                const auto decoded =
                    peers::decode_message(message.set, message.id, reply, message.server, message.server, payload);
                EXPECT_EQ(decoded.name, message.name);
                EXPECT_EQ(decoded.problem.starts_with("short"), length < message.size);
                EXPECT_EQ(decoded.fields.size(), decoded.problem.empty() ? message.fields.size() : 0);
                EXPECT_TRUE(length != message.size || decoded.problem.empty());
            }
        }
    }
}

}  // namespace
