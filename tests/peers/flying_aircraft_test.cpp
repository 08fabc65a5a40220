// The simulated aircraft on the bus: the same messages that a flight test sends, in real time.
#include "flight_controller/flying_aircraft.h"

#include <algorithm>
#include <atomic>

#include "flight_controller/flight_controller.h"
#include "flight_controller/flight_log.h"
#include "flight_record/flight_record.h"
#include "flight_v1_wire.h"
#include "messages/decode.h"
#include "peer_fixture.h"
#include "upgrade_wire.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsSupersetOf;

class Flight : public testing::Test {
protected:
    Flight()
    {
        peers::flight_options_t options;
        options.aircraft.ground_altitude = 520;
        options.latitude = 0.84;
        options.observer = [this](const peers::flight_row_t& row) { log->write(row); };
        peers::bus_open_error_t error;
        controller = peers::FlightController::open_flying(
            bus.name("flight_controller", "fmu"), {}, options,
            [this](const peers::fc_event_t& event) {
                const std::lock_guard lock(mutex);
                events.push_back(event.kind);
            },
            error);
        EXPECT_TRUE(controller) << error.result;
        EXPECT_EQ(service->start(), 0);
    }
    ~Flight() override { service->stop(); }

    template <class Record>
    uint8_t asked(uint8_t id, const Record& record, uint8_t set = SET_FLIGHT_CONTROLLER)
    {
        std::atomic<int> answer = -1;
        EXPECT_EQ(service->request({HOST_FLIGHT_CONTROLLER, set, id, peers::bytes_of(record)},
                                   [&](const peers::reply_t& reply) {
                                       answer = reply.event != nullptr ? reply.event->msg_buf[0] : 0xff;
                                   }),
                  0);
        EXPECT_TRUE(soon([&] { return answer >= 0; }));
        return static_cast<uint8_t>(answer);
    }

    bool happened(peers::fc_event_kind kind)
    {
        const std::lock_guard lock(mutex);
        return std::count(events.begin(), events.end(), kind) > 0;
    }

    peers::aircraft_state_t state() { return controller->bags().state(); }

    Bus bus;
    std::mutex mutex;
    std::vector<peers::fc_event_kind> events;
    std::string path = bus.directory() + "/flight.ulg";
    std::unique_ptr<peers::FlightLog> log = peers::FlightLog::create(path, {});
    std::unique_ptr<peers::FlightController> controller;
    std::unique_ptr<peers::BusEndpoint> service = bus.endpoint("flight_service", "flight_srv_fmu");
};

TEST_F(Flight, FliesByMessagesAndReportsIntoTheBag)
{
    const api_ctrl_data_without_sensor_t forward = {HORIZ_MODE_VEL << CTRL_FLAG_HORIZ_MODE_SHIFT | 1 << 3, 2, 0, 0, 0};
    EXPECT_EQ(state().fsm, 1);
    EXPECT_EQ(state().altitude, 520.0f);
    EXPECT_EQ(asked(CMD_ID_CTRL_DATA, forward), 1) << "on the ground";
    EXPECT_EQ(asked(CMD_ID_BASIC_CMD, api_basic_cmd_t{API_CMD_AUTO_TAKEOFF}), 0);
    EXPECT_TRUE(soon([&] { return state().display_mode == KCTRL_AUTOTAKEOFF; }));
    EXPECT_TRUE(soon([&] { return state().display_mode == KCTRL_GPS_ATTI; }));
    EXPECT_EQ(state().fsm, 2);
    EXPECT_NEAR(state().altitude, 521.2, 0.1);

    EXPECT_EQ(asked(CMD_ID_MISSION_ONOFF, cmd_mission_request_onoff_t{MIS_ON, ON_BOARD_DEV}), 0);
    for (int i = 0; i < 25; i++, std::this_thread::sleep_for(20ms))
        EXPECT_EQ(asked(CMD_ID_CTRL_DATA, forward), 0);
    EXPECT_GT(state().velocity[0], 0.5);
    EXPECT_GT(state().latitude, 0.84) << "it flies north";
    EXPECT_TRUE(soon([&] { return happened(peers::fc_event_kind::sticks_lost); }));

    const afqt_sweep_req_t sweep = {MSG_ID_MOTION_CMD, {MOTION_SWEEP, kSweepOn, 10, 50, 20, 1, 7}};
    EXPECT_EQ(asked(CMD_ID_AFQT_MSG, sweep, SET_AFQT), 0);
    EXPECT_TRUE(soon([&] { return happened(peers::fc_event_kind::sweep_ended); }));
    const afqt_heart_beat_msg_t beat = {MSG_ID_HEART_BEAT, {kStaMotionListRun, 0, MOTION_SWEEP, 1, kAttiX}};
    EXPECT_EQ(asked(CMD_ID_AFQT_MSG, beat, SET_AFQT), 0);
    EXPECT_EQ(controller->aircraft()->heartbeat()->motion_loop, kAttiX);

    controller->set_gps_level(1);
    EXPECT_EQ(asked(CMD_ID_BASIC_CMD, api_basic_cmd_t{API_CMD_AUTO_LANDING}), 0);
    EXPECT_TRUE(soon([&] { return state().fsm == 0; }));
    EXPECT_EQ(state().gps_level, 1) << "stays as it was set";
    EXPECT_TRUE(happened(peers::fc_event_kind::landed));
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
    EXPECT_THAT(markers, IsSupersetOf({"mode 11 (take-off)", "took off", "mode 17 (external control)",
                                       "sweep starts: attitude x at point 0", "sweep ends", "mode 12 (landing)",
                                       "mode 6 (hold)", "motors off"}));
}

TEST_F(Flight, MotorsHeldByAnotherDeviceStayOnTheGround)
{
    const vela_fc_set_register_motor_ext_err_req request = {1, 0, 0x5f, 5000, "nfz_upgrading"};
    EXPECT_EQ(asked(ID_REGISTER_MOTOR_ERR, request), 0);
    vela_fc_set_set_motor_ext_err_req hold = {1, 0x1001, {}};
    hold.motor_ext_err_status[0] = {0x21, MOTOR_DISABLE};
    EXPECT_EQ(asked(ID_SET_MOTOR_ERR, hold), 0);
    EXPECT_EQ(asked(CMD_ID_BASIC_CMD, api_basic_cmd_t{API_CMD_AUTO_TAKEOFF}), 1);
    EXPECT_TRUE(happened(peers::fc_event_kind::takeoff_refused));
    EXPECT_EQ(state().display_mode, KCTRL_GPS_ATTI);
    EXPECT_EQ(state().fsm, 1);
    hold.motor_ext_err_status[0].status_to_set = MOTOR_ENABLE;
    EXPECT_EQ(asked(ID_SET_MOTOR_ERR, hold), 0);
    EXPECT_EQ(asked(CMD_ID_BASIC_CMD, api_basic_cmd_t{API_CMD_AUTO_TAKEOFF}), 0);
}

std::string shown(uint8_t set, uint8_t id, peers::bytes_view payload)
{
    const peers::decoded_t message =
        peers::decode_message(set, id, false, HOST_FLIGHT_SERVICE, HOST_FLIGHT_CONTROLLER, payload);
    return message.name + " " + message.problem + peers::fields_text(message);
}

TEST(FlightMessages, AreToldApartByLengthAndFirstByte)
{
    const api_ctrl_data_without_sensor_t basic = {0x9b, 1, 2, 4, 3};
    const std::string sticks = shown(SET_FLIGHT_CONTROLLER, CMD_ID_CTRL_DATA, peers::bytes_of(basic));
    EXPECT_THAT(sticks, HasSubstr("horiz_mode=2 (position, m)"));
    EXPECT_THAT(sticks, HasSubstr("thr_z=4  yaw=3"));
    const api_ctrl_data_pro_t pro = {0x81, FFWD_VEL_ACC, {1, 2, 3, 4}, {8, 0}, {}, {}};
    EXPECT_THAT(shown(SET_FLIGHT_CONTROLLER, CMD_ID_CTRL_DATA, peers::bytes_of(pro)),
                HasSubstr("horiz_ffwd_vel=[8 0] m/s"));
    EXPECT_THAT(shown(SET_FLIGHT_CONTROLLER, CMD_ID_CTRL_DATA, peers::bytes_of(pro).first(40)),
                HasSubstr("long: 40 bytes, 17 expected"));
    const afqt_sweep_req_t sweep = {MSG_ID_MOTION_CMD, {MOTION_SWEEP, kSweepOn, 5, 80, 20, 20, 0x87}};
    EXPECT_THAT(shown(SET_AFQT, CMD_ID_AFQT_MSG, peers::bytes_of(sweep)), HasSubstr("loop=7"));
    const afqt_heart_beat_msg_t beat = {MSG_ID_HEART_BEAT, {kStaErrSta, CANNOT_REQ_TAKEOFF, 0, 0, 0}};
    EXPECT_THAT(shown(SET_AFQT, CMD_ID_AFQT_MSG, peers::bytes_of(beat)), HasSubstr("(take-off not obeyed)"));
    EXPECT_THAT(shown(SET_AFQT, CMD_ID_AFQT_MSG, peers::bytes_of(uint8_t{9})), HasSubstr("unknown"));
}

}  // namespace
