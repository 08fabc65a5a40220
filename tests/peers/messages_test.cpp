#include "messages/decode.h"

#include <gmock/gmock.h>

#include <set>

#include "db_bag_wire.h"
#include "flight_v1_wire.h"
#include "flight_version_wire.h"
#include "tfr_wire.h"
#include "upgrade_wire.h"

namespace {

using testing::HasSubstr;

std::string line(uint8_t set, uint8_t id, bool reply, peers::bytes_view payload, uint16_t server)
{
    const peers::decoded_t message =
        peers::decode_message(set, id, reply, reply ? server : HOST_APP, reply ? HOST_APP : server, payload);
    return message.name + ": " + message.problem + peers::fields_text(message);
}

TEST(Messages, ShowNamesUnitsAndMeanings)
{
    const upgrade_data_transfer_ack_t refused = {UPGRADE_RET_BLOCK_NUMBER, -1};
    EXPECT_EQ(line(SET_COMMON, ID_UPGRADE_DATA, true, peers::bytes_of(refused), HOST_NFZ_UPGRADE),
              "upgrade_data_ack: ret_code=240 (another block is expected)  block_number=-1");

    const uint8_t block[] = {0, 3, 0, 0, 0, 2, 0, 0xab, 0xcd};
    EXPECT_EQ(line(SET_COMMON, ID_UPGRADE_DATA, false, block, HOST_NFZ_UPGRADE),
              "upgrade_data: encryption_type=0  block_number=3  block_size=2 bytes  block_data=abcd");

    vela_fc_set_set_motor_ext_err_req hold = {1, 0x1001, {}};
    hold.motor_ext_err_status[0] = {0x21, MOTOR_DISABLE};
    EXPECT_THAT(line(SET_FLIGHT_CONTROLLER, ID_SET_MOTOR_ERR, false, peers::bytes_of(hold), HOST_FLIGHT_CONTROLLER),
                HasSubstr("requester_id=4097  motor_ext_err_code=33  status_to_set=1 (motors held)"));

    const upgrade_flylimit_version_push_t announced = {{1, 0, 0, 2}, 0, FLYLIMIT_USE_FLIGHT_UPDATE_DYNAMIC, {}};
    EXPECT_THAT(line(SET_FLIGHT_CONTROLLER, ID_FLYLIMIT_VERSION, false, peers::bytes_of(announced), HOST_APP),
                HasSubstr("static_db_version=2.0.0.1"));
}

TEST(Messages, RestrictionsShowTheirTransferAndTheirPush)
{
    const uint8_t fragment[] = {UPDATE_DATA, 3, 0, 0xe8, 3, 0, 0, 2, 0xab, 0xcd};
    EXPECT_EQ(line(SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE, false, fragment, HOST_FLIGHT_SERVICE),
              "tfr_transfer: type=1 (fragment)  pkg_seq=3  pkg_size=1000 bytes  data_size=2 bytes  data=abcd");

    update_tfr_rsp_t next = {TFR_UPDATE_SEQ_NOT_CONTINUE, TFR_NEXT_SET, {}};
    next.seq = 260;
    EXPECT_THAT(line(SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE, true, peers::bytes_of(next), HOST_FLIGHT_SERVICE),
                HasSubstr("ack=1 (another fragment is expected)  type=1 (next fragment)  uid=0401"));
    EXPECT_THAT(line(SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE, true, peers::bytes_of(next), HOST_FLIGHT_SERVICE),
                HasSubstr("seq=260"));

    vela_flight_push_tfr_t push = {{}, 3, 1, {}};
    push.tfr_data.area_id = 1001;
    push.tfr_data.points[0] = {-1, 2};
    push.tfr_data.center.lat = 48137154;
    push.tfr_data.radius = 500;
    push.tfr_data.end_at = UINT32_MAX;
    const std::string text = line(SET_FLYLIMIT, ID_TFR_PUSH, false, peers::bytes_of(push), HOST_FLIGHT_CONTROLLER);
    EXPECT_THAT(text, HasSubstr("num=3  idx=1  area_id=1001"));
    EXPECT_THAT(text, HasSubstr("points=[-1 2 0"));
    EXPECT_THAT(text, HasSubstr("center.lat=48137154 1e-6 deg  radius=500 m"));
    EXPECT_THAT(text, HasSubstr("end_at=4294967295 s"));
}

// One id, three servers, three answers.
TEST(Messages, VersionAnswerDependsOnWhoAnswers)
{
    flight_version_ack_t ack = {};
    ack.database.Loader = {4, 3, 2, 1};
    EXPECT_THAT(line(SET_COMMON, ID_GET_VERSION, true, peers::bytes_of(ack), HOST_FLIGHT_SERVICE),
                HasSubstr("database.version=1.2.3.4"));
    EXPECT_THAT(line(SET_COMMON, ID_GET_VERSION, true, peers::bytes_of(ack), HOST_NFZ_UPGRADE),
                HasSubstr("database_version: long: 61 bytes, 30 expected"));
    EXPECT_THAT(line(SET_COMMON, ID_GET_VERSION, false, {}, HOST_NFZ_UPGRADE), HasSubstr("get_version: "));
}

TEST(Messages, BagShowsArraysAndItems)
{
    struct [[gnu::packed]] {
        uint8_t index = 0;
        db_bag1_t bag = {};
    } push;
    push.bag.db_sys_navi_data.horiz_abs_pos[1] = -0.5;
    push.bag.fc_fsm.fsm = 2;
    const std::string text =
        line(SET_FLIGHT_CONTROLLER, ID_DB_BAG_PUSH, false, peers::bytes_of(push), HOST_FLIGHT_SERVICE);
    EXPECT_THAT(text, HasSubstr("position=[0 -0.5] rad"));
    EXPECT_THAT(text, HasSubstr("fsm=2 (in air)"));
    const uint8_t add[] = {0, 50, 0, 0, 2, 0, 0, 0, 0x57, 1, 0, 0, 0};
    EXPECT_THAT(line(SET_FLIGHT_CONTROLLER, ID_DB_BAG_ADD, false, add, HOST_FLIGHT_CONTROLLER),
                HasSubstr("frequence=50 Hz  data_num=2  items=[1459617792 1]"));
}

// Every message at every length: fields only when the length is right, and nothing is read behind the payload (the
// address sanitizer looks on).
TEST(Messages, OfAWrongLengthAreShownAsSuch)
{
    for (const auto group : peers::message_groups()) {
        for (const peers::message_t& message : group) {
            const bool reply = message.kind == peers::message_kind::reply;
            for (size_t length = 0; length <= 300; length++) {
                std::vector<uint8_t> payload(length, 0x5a);
                if (message.first_byte >= 0 && length > 0) payload[0] = static_cast<uint8_t>(message.first_byte);
                // Its length may make it another message.
                if (&message != peers::find_message(message.set, message.id, message.kind, message.server, payload)) {
                    EXPECT_NE(length, message.size) << message.name;
                    continue;
                }
                const auto decoded =
                    peers::decode_message(message.set, message.id, reply, message.server, message.server, payload);
                EXPECT_EQ(decoded.name, message.name);
                const bool is_short = length < message.size;
                EXPECT_EQ(decoded.problem.starts_with("short"), is_short) << message.name << " at " << length;
                const size_t fields = decoded.problem.empty() ? message.fields.size() : 0;
                EXPECT_EQ(decoded.fields.size(), fields) << message.name << " at " << length;
                EXPECT_TRUE(length != message.size || decoded.problem.empty()) << message.name;
            }
        }
    }
}

// What a generator of documents relies on: no name twice, every field inside its message.
TEST(Messages, DescriptionIsSound)
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
        }
    }
}

TEST(Messages, UnknownOnesAndUnknownCommandsAreSaid)
{
    EXPECT_THAT(line(0x44, 0x01, false, {}, HOST_APP), HasSubstr("unknown"));
    EXPECT_THAT(line(SET_COMMON, ID_UPGRADE_DATA, true, peers::bytes_of(REPLY_UNKNOWN_COMMAND), HOST_NFZ_UPGRADE),
                HasSubstr("does not know this command"));
}

}  // namespace
