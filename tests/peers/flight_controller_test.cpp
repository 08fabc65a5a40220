// The simulated flight controller on the bus: the messages that the service sends, in real time.
#include "flight_controller/flight_controller.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <thread>

#include "flight_controller/flight_log.h"
#include "flight_record/flight_record.h"
#include "flight_v1_wire.h"
#include "peer_fixture.h"

namespace {

using peers::bytes_of;
using testing::ElementsAre;
using testing::FloatEq;

class Controller : public testing::Test {
protected:
    Controller()
    {
        peers::flight_options_t options;
        options.aircraft.ground_altitude = 520;
        options.aircraft.heading = 0.3;
        options.latitude = 0.84;
        options.observer = [this](const peers::flight_row_t& row) { log->write(row); };
        peers::bus_open_error_t error;
        controller = peers::FlightController::open_flying(
            bus.name("flight_controller", "fmu"), {.serial = "ABC123"}, options,
            [this](const peers::fc_event_t& event) {
                const std::lock_guard lock(mutex);
                events.push_back(event.kind);
            },
            error);
        EXPECT_TRUE(controller) << error.result;
        service->on_request(SET_FLIGHT_CONTROLLER, ID_DB_BAG_PUSH, [this](const kest_event_t& event) {
            const std::lock_guard lock(mutex);
            push = content(event);
            pushes++;
        });
        EXPECT_EQ(service->start(), 0);
    }
    ~Controller() override { service->stop(); }

    static std::vector<uint8_t> content(const kest_event_t& event)
    {
        return {event.msg_buf, event.msg_buf + event.msg_len};
    }

    std::vector<uint8_t> asked(uint8_t id, peers::bytes_view payload, uint8_t set = SET_FLIGHT_CONTROLLER)
    {
        const auto answer = std::make_shared<std::promise<std::vector<uint8_t>>>();
        const auto on_reply = [answer](const peers::reply_t& reply) {
            answer->set_value(reply.event == nullptr ? std::vector<uint8_t>() : content(*reply.event));
        };
        EXPECT_EQ(service->request({HOST_FLIGHT_CONTROLLER, set, id, payload}, on_reply), 0);
        return answer->get_future().get();
    }

    bool obeys(uint8_t id, peers::bytes_view payload, uint8_t set = SET_FLIGHT_CONTROLLER)
    {
        const std::vector<uint8_t> answer = asked(id, payload, set);
        EXPECT_THAT(answer, testing::AnyOf(ElementsAre(0), ElementsAre(1)));
        return answer[0] == 0;
    }

    bool basic_command(uint8_t command) { return obeys(CMD_ID_BASIC_CMD, bytes_of(api_basic_cmd_t{command})); }

    vela_fc_set_register_motor_ext_err_rsp registered()
    {
        const vela_fc_set_register_motor_ext_err_req request = {1, 0, 0x5f, 5000, "nfz_upgrading"};
        vela_fc_set_register_motor_ext_err_rsp answer = {};
        EXPECT_TRUE(peers::read_record(asked(ID_REGISTER_MOTOR_ERR, bytes_of(request)), answer));
        return answer;
    }

    bool motors(uint32_t requester, uint8_t code, uint8_t status)
    {
        return obeys(ID_SET_MOTOR_ERR, bytes_of(vela_fc_set_set_motor_ext_err_req{1, requester, {{code, status}}}));
    }

    bool subscribes(uint8_t bag, uint16_t rate, const std::vector<uint32_t>& items, size_t cut = 0)
    {
        const db_bag_add_req_t head = {bag, rate, 0, static_cast<uint8_t>(items.size())};
        const auto* first = reinterpret_cast<const uint8_t*>(items.data());
        std::vector<uint8_t> request(bytes_of(head).begin(), bytes_of(head).end());
        request.insert(request.end(), first, first + items.size() * sizeof items[0] - cut);
        return obeys(ID_DB_BAG_ADD, request);
    }

    bool happened(peers::fc_event_kind kind)
    {
        const std::lock_guard lock(mutex);
        return std::count(events.begin(), events.end(), kind) > 0;
    }

    peers::aircraft_state_t state() { return controller->bags().state(); }

    Bus bus;
    std::mutex mutex;  // guards the next two
    std::vector<peers::fc_event_kind> events;
    std::vector<uint8_t> push;
    std::atomic<int> pushes = 0;
    std::string path = bus.path("flight.ulg");
    std::unique_ptr<peers::FlightLog> log = peers::FlightLog::create(path, {});
    std::unique_ptr<peers::FlightController> controller;
    std::unique_ptr<peers::BusEndpoint> service = bus.endpoint("flight_service", "flight_srv_fmu");
};

TEST_F(Controller, HoldsAndReleasesTheMotorsForWhoIsRegistered)
{
    EXPECT_FALSE(motors(0, 0, MOTOR_DISABLE)) << "nobody could ever clear it";
    EXPECT_FALSE(controller->motors().held());
    controller->motors().set_registration_answer(7);
    EXPECT_EQ(registered().result, 7);
    EXPECT_EQ(controller->motors().counts().registrations, 0u);
    EXPECT_FALSE(obeys(ID_REGISTER_MOTOR_ERR, bytes_of(uint16_t{0}))) << "short";
    controller->motors().set_registration_answer(0);

    const vela_fc_set_register_motor_ext_err_rsp first = registered();
    EXPECT_EQ(first.result, 0);
    EXPECT_EQ(first.identity_id, 0x5f);
    const uint32_t id = first.requester_id, id_again = registered().requester_id;
    EXPECT_EQ(id_again, id) << "asking again gives the same";

    EXPECT_TRUE(motors(id, first.motor_ext_err_code, MOTOR_DISABLE));
    EXPECT_TRUE(motors(id, first.motor_ext_err_code, MOTOR_DISABLE));
    EXPECT_TRUE(controller->motors().held());
    EXPECT_FALSE(basic_command(API_CMD_AUTO_TAKEOFF));
    EXPECT_TRUE(soon([&] { return happened(peers::fc_event_kind::takeoff_refused); }));
    EXPECT_EQ(state().display_mode, KCTRL_GPS_ATTI);
    EXPECT_TRUE(motors(id, first.motor_ext_err_code, MOTOR_ENABLE));
    EXPECT_FALSE(controller->motors().held());
    EXPECT_TRUE(basic_command(API_CMD_AUTO_TAKEOFF));

    EXPECT_EQ(controller->motors().changes().size(), 2u);
    EXPECT_EQ(controller->motors().counts().holds, 2u);
    EXPECT_EQ(controller->motors().counts().ignored, 1u);
}

TEST_F(Controller, PushesTheBagItsSubscriberAskedFor)
{
    EXPECT_FALSE(subscribes(0, 0, {BAG1_UIDS[0]})) << "no rate";
    EXPECT_FALSE(subscribes(9, 50, {BAG1_UIDS[0]})) << "no such bag";
    EXPECT_FALSE(subscribes(0, 50, {0xdeadbeef})) << "no such item";
    EXPECT_FALSE(subscribes(0, 50, {BAG1_UIDS[0], BAG1_UIDS[1]}, 1)) << "fewer items than it says";
    EXPECT_FALSE(controller->bags().subscribed(0));

    controller->set_gps_level(4);
    EXPECT_TRUE(subscribes(0, 200, {std::begin(BAG1_UIDS), std::end(BAG1_UIDS)}));
    ASSERT_TRUE(soon([&] { return pushes >= 3; }));
    asked(ID_DB_BAG_DELETE, {});
    EXPECT_TRUE(controller->bags().subscribed(0)) << "a short request";
    asked(ID_DB_BAG_DELETE, bytes_of(uint8_t{0}));
    const int at_the_end = pushes;
    std::this_thread::sleep_for(200ms);
    EXPECT_LE(pushes, at_the_end + 1) << "one may have been under way";

    ASSERT_EQ(push.size(), 1 + sizeof(db_bag1_t));
    db_bag1_t bag = {};
    EXPECT_TRUE(peers::read_record(push, bag, 1));
    EXPECT_EQ(push[0], 0);
    const double latitude = bag.db_sys_navi_data.horiz_abs_pos[0];
    std::array<float, 4> attitude;  // a copy: nothing may refer into a packed record
    std::memcpy(attitude.data(), bag.atti_data.q, sizeof attitude);
    EXPECT_EQ(latitude, 0.84);
    EXPECT_EQ(bag.db_gps_ctrl_level.ctrl_level, 4);
    EXPECT_EQ(bag.fc_fsm.fsm, 1);
    EXPECT_THAT(attitude, ElementsAre(FloatEq(std::cos(0.15f)), 0, 0, FloatEq(std::sin(0.15f)))) << "heading 0.3 rad";
}

TEST_F(Controller, SaysWhoItIs)
{
    sn_request_ack_t serial = {};
    ASSERT_TRUE(peers::read_record(asked(CMD_ID_GET_PRODUCT_ID, {}), serial));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(serial.sn)), "ABC123");
    EXPECT_EQ(asked(CMD_ID_GET_PRODUCT_TYPE, {}).size(), sizeof(cmd_get_drone_type_t));
    EXPECT_EQ(asked(ID_GET_VERSION, {}, SET_COMMON).size(), sizeof(cmd_get_version_t));
    EXPECT_THAT(asked(0x99, {}), ElementsAre(REPLY_UNKNOWN_COMMAND));
}

TEST_F(Controller, FliesByMessagesAndRecordsTheFlight)
{
    const api_ctrl_data_without_sensor_t forward = {HORIZ_MODE_VEL << CTRL_FLAG_HORIZ_MODE_SHIFT | 1 << 3, 2, 0, 0, 0};
    EXPECT_EQ(state().altitude, 520.0f);
    EXPECT_FALSE(obeys(CMD_ID_CTRL_DATA, bytes_of(forward))) << "on the ground";
    EXPECT_TRUE(basic_command(API_CMD_AUTO_TAKEOFF));
    EXPECT_TRUE(soon([&] { return state().display_mode == KCTRL_AUTOTAKEOFF; }));
    EXPECT_TRUE(soon([&] { return state().display_mode == KCTRL_GPS_ATTI; }));
    EXPECT_EQ(state().fsm, 2);
    EXPECT_NEAR(state().altitude, 521.2, 0.1);
    EXPECT_TRUE(obeys(CMD_ID_MISSION_ONOFF, bytes_of(cmd_mission_request_onoff_t{MIS_ON, ON_BOARD_DEV})));
    for (int i = 0; i < 25; i++, std::this_thread::sleep_for(20ms))
        EXPECT_TRUE(obeys(CMD_ID_CTRL_DATA, bytes_of(forward)));
    EXPECT_GT(state().velocity[0], 0.5);
    EXPECT_GT(state().latitude, 0.84) << "it flies north";
    EXPECT_TRUE(soon([&] { return happened(peers::fc_event_kind::sticks_lost); }));

    const afqt_sweep_req_t sweep = {MSG_ID_MOTION_CMD, {MOTION_SWEEP, kSweepOn, 10, 50, 20, 1, 7}};
    EXPECT_TRUE(obeys(CMD_ID_AFQT_MSG, bytes_of(sweep), SET_AFQT));
    EXPECT_TRUE(soon([&] { return happened(peers::fc_event_kind::sweep_ended); }));
    const afqt_heart_beat_msg_t beat = {MSG_ID_HEART_BEAT, {kStaMotionListRun, 0, MOTION_SWEEP, 1, kAttiX}};
    EXPECT_TRUE(obeys(CMD_ID_AFQT_MSG, bytes_of(beat), SET_AFQT));
    EXPECT_EQ(controller->aircraft()->heartbeat()->motion_loop, kAttiX);

    controller->set_gps_level(1);
    EXPECT_TRUE(basic_command(API_CMD_AUTO_LANDING));
    EXPECT_TRUE(soon([&] { return state().fsm == 0; }));
    EXPECT_EQ(state().gps_level, 1) << "stays as it was set";
    EXPECT_TRUE(soon([&] { return happened(peers::fc_event_kind::landed); }));
    EXPECT_EQ(controller->aircraft()->counts().commands, 4u);
    EXPECT_EQ(controller->aircraft()->counts().skipped_ms, 0u);

    controller->stop();
    EXPECT_TRUE(log->close());
    peers::record_error_t error;
    const auto record = peers::FlightRecord::read(path, error);
    ASSERT_TRUE(record) << error.reason;
    EXPECT_GT(record->topic("position")->times_us.size(), 800u);
    std::vector<std::string> markers;
    for (const peers::record_marker_t& marker : record->markers)
        markers.push_back(marker.text);
    // A first mode if a row came before the take-off; the last rows of the sweep and the landing in either order.
    EXPECT_THAT(markers, testing::IsSupersetOf({"mode 11 (take-off)", "took off", "mode 17 (external control)",
                                                "sweep starts: attitude x at point 0", "sweep ends",
                                                "mode 12 (landing)", "mode 6 (hold)", "motors off"}));
}

}  // namespace
