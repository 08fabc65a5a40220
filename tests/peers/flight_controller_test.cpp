#include "flight_controller/flight_controller.h"

#include <atomic>

#include "afqt_wire.h"
#include "common/version_query.h"
#include "flight_v1_wire.h"
#include "peer_fixture.h"

namespace {

using testing::ElementsAre;

// The service's upgrade endpoint asks, and its flight endpoint takes the pushes.
class Controller : public testing::Test {
protected:
    Controller()
    {
        peers::bus_open_error_t error;
        controller =
            peers::FlightController::open(bus.name("flight_controller", "fmu"), {.serial = "ABC123"}, {}, error);
        service->on_request(SET_FLIGHT_CONTROLLER, ID_DB_BAG_PUSH, [this](const kest_event_t& event) {
            const std::lock_guard lock(mutex);
            const peers::bytes_view payload = peers::payload_of(event);
            push.assign(payload.begin(), payload.end());
            pushes++;
        });
        EXPECT_EQ(service->start(), 0);
    }
    ~Controller() override { service->stop(); }

    std::vector<uint8_t> asked(uint8_t id, peers::bytes_view payload, uint8_t set = SET_FLIGHT_CONTROLLER)
    {
        std::atomic<bool> came = false;
        std::vector<uint8_t> answer;
        EXPECT_EQ(service->request({HOST_FLIGHT_CONTROLLER, set, id, payload},
                                   [&](const peers::reply_t& reply) {
                                       if (reply.event != nullptr) {
                                           const peers::bytes_view bytes = peers::payload_of(*reply.event);
                                           answer.assign(bytes.begin(), bytes.end());
                                       }
                                       came = true;
                                   }),
                  0);
        EXPECT_TRUE(soon([&] { return came.load(); }));
        return answer;
    }

    vela_fc_set_register_motor_ext_err_rsp registered()
    {
        const vela_fc_set_register_motor_ext_err_req request = {1, 0, 0x5f, 5000, "nfz_upgrading"};
        vela_fc_set_register_motor_ext_err_rsp answer = {};
        EXPECT_TRUE(peers::read_record(asked(ID_REGISTER_MOTOR_ERR, peers::bytes_of(request)), answer));
        return answer;
    }

    std::vector<uint8_t> set(uint32_t requester, uint8_t code, uint8_t status)
    {
        vela_fc_set_set_motor_ext_err_req request = {1, requester, {}};
        request.motor_ext_err_status[0] = {code, status};
        return asked(ID_SET_MOTOR_ERR, peers::bytes_of(request));
    }

    Bus bus;
    std::unique_ptr<peers::FlightController> controller;
    std::unique_ptr<peers::BusEndpoint> service = bus.endpoint("flight_service", "flight_nfz_upgrade");
    std::mutex mutex;
    std::vector<uint8_t> push;
    std::atomic<int> pushes = 0;
};

TEST_F(Controller, HoldsAndReleasesTheMotorsForWhoIsRegistered)
{
    EXPECT_THAT(set(0, 0, MOTOR_DISABLE), ElementsAre(1)) << "nobody could ever clear it";
    EXPECT_FALSE(controller->motors().held());

    const vela_fc_set_register_motor_ext_err_rsp first = registered();
    EXPECT_EQ(first.result, 0);
    EXPECT_EQ(first.identity_id, 0x5f);
    const uint32_t id = first.requester_id;
    const uint32_t id_again = registered().requester_id;
    EXPECT_EQ(id_again, id) << "asking again gives the same";

    EXPECT_THAT(set(id, first.motor_ext_err_code, MOTOR_DISABLE), ElementsAre(0));
    EXPECT_TRUE(controller->motors().held());
    set(id, first.motor_ext_err_code, MOTOR_DISABLE);
    set(id, first.motor_ext_err_code, MOTOR_ENABLE);
    EXPECT_FALSE(controller->motors().held());

    EXPECT_EQ(controller->motors().changes().size(), 2u);
    EXPECT_EQ(controller->motors().counts().holds, 2u);
    EXPECT_EQ(controller->motors().counts().ignored, 1u);
}

TEST_F(Controller, RegistrationCanBeRefused)
{
    controller->motors().set_registration_answer(7);
    EXPECT_EQ(registered().result, 7);
    EXPECT_EQ(controller->motors().counts().registrations, 0u);
    EXPECT_THAT(asked(ID_REGISTER_MOTOR_ERR, peers::bytes_of(uint16_t{0})), ElementsAre(1)) << "short";
}

std::vector<uint8_t> add_request(uint8_t bag, uint16_t rate, const std::vector<uint32_t>& items)
{
    const db_bag_add_req_t head = {bag, rate, 0, static_cast<uint8_t>(items.size())};
    std::vector<uint8_t> request(sizeof head + items.size() * 4);
    std::memcpy(request.data(), &head, sizeof head);
    std::memcpy(request.data() + sizeof head, items.data(), items.size() * 4);
    return request;
}

TEST_F(Controller, PushesTheBagItsSubscriberAskedFor)
{
    peers::aircraft_state_t state;
    state.latitude = 0.84;
    state.gps_level = 4;
    state.fsm = 2;
    state.quaternion = {0.5f, 0.5f, -0.5f, 0.5f};
    controller->bags().set_state(state);
    asked(ID_DB_BAG_ADD, add_request(0, 200, {std::begin(BAG1_UIDS), std::end(BAG1_UIDS)}));
    ASSERT_TRUE(soon([&] { return pushes >= 3; }));
    {
        const std::lock_guard lock(mutex);
        ASSERT_EQ(push.size(), 1 + sizeof(db_bag1_t));
        db_bag1_t bag = {};
        EXPECT_TRUE(peers::read_record(push, bag, 1));
        EXPECT_EQ(push[0], 0);
        const double latitude = bag.db_sys_navi_data.horiz_abs_pos[0];
        const float q2 = bag.atti_data.q[2];
        EXPECT_EQ(latitude, 0.84);
        EXPECT_EQ(bag.db_gps_ctrl_level.ctrl_level, 4);
        EXPECT_EQ(bag.fc_fsm.fsm, 2);
        EXPECT_EQ(q2, -0.5f);
    }
    asked(ID_DB_BAG_DELETE, peers::bytes_of(uint8_t{0}));
    const int at_the_end = pushes;
    std::atomic<int> later = 0;
    service->call_later(200'000, [&] { later = 1; });
    ASSERT_TRUE(soon([&] { return later == 1; }));
    EXPECT_LE(pushes, at_the_end + 1) << "one may have been under way";
}

TEST_F(Controller, SubscriptionsThatCannotBeAreRefused)
{
    EXPECT_THAT(asked(ID_DB_BAG_ADD, add_request(0, 0, {BAG1_UIDS[0]})), ElementsAre(1)) << "no rate";
    EXPECT_THAT(asked(ID_DB_BAG_ADD, add_request(9, 50, {BAG1_UIDS[0]})), ElementsAre(1)) << "no such bag";
    EXPECT_THAT(asked(ID_DB_BAG_ADD, add_request(0, 50, {0xdeadbeef})), ElementsAre(1)) << "no such item";
    std::vector<uint8_t> cut = add_request(0, 50, {BAG1_UIDS[0], BAG1_UIDS[1]});
    cut.pop_back();
    EXPECT_THAT(asked(ID_DB_BAG_ADD, cut), ElementsAre(1)) << "fewer items than it says";
    EXPECT_FALSE(controller->bags().subscribed(0));
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

}  // namespace
