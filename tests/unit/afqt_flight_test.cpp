// From the on command to the ground again, tick by tick, and what can go wrong on the way.
#include "afqt_flight.h"

using testing::AllOf;
using testing::Contains;
using testing::EndsWith;

TEST_F(AfqtFlight, GoesFromTheGroundIntoTheAirUnderControl)
{
    printed();
    is_in(1);
    db.drone_fsm = DRONE_ON_GND;
    switched(1);
    expect_after(1, 7, {});
    EXPECT_THAT(printed(), AllOf(HasSubstr("[new afqt] ext_event_cmd_on \r\n"), HasSubstr("file open success")));
    expect_after(1, 1, {});
    EXPECT_THAT(printed(), HasSubstr("[new afqt] motion list load done \r\n[new afqt] process MainStaMotionRun entry  "
                                     "\r\n[new afqt] reset_run_list_sta  \r\n[afqt]list size is 2\r\n"));
    expect_after(1, 1, {TAKEOFF});
    EXPECT_THAT(printed(), AllOf(HasSubstr("motion list init err_code 0 \r\n"), HasSubstr("curr_mode, 1\r\n")));
    is_in(10);
    expect_after(1, 1, {TAKEOFF});  // still, on the tick that sees the mode
    db.drone_fsm = DRONE_IN_AIR;
    expect_after(2, 1, {});  // in the air, but not yet in a mode for it
    is_in(6);
    logged();
    printed();
    expect_after(1, 2, {TAKE_CONTROL, HOLD_STILL});
    EXPECT_THAT(printed(), AllOf(HasSubstr("***DRONE_IN_AIR***"), HasSubstr("**ReqApiMode  **")));
    EXPECT_THAT(logged(), Contains("event_in_air: event_in_air, 2, 6\r\n"));
    is_in(17);
    expect_after(1, 3, {HOLD_STILL});
    EXPECT_THAT(printed(),
                AllOf(HasSubstr("[1]req_api_mode    flight mode : 17, !!!!! \r\n"), HasSubstr(" sssss  \r")));
    tick(6);
    EXPECT_THAT(printed(), HasSubstr("[afqt]temp_ptr motion_id 2\n"));
    EXPECT_THAT(logged(), AllOf(Contains(EndsWith(": [afqt]Curr_motion_num 0\n")),
                                Contains(EndsWith(": [afqt]temp_ptr motion_id 2\n"))));
}

TEST_F(AfqtFlight, ComesHomeAndLands)
{
    flies(4);
    flown();
    EXPECT_EQ(ext(), 3);
    expect_after(100, 4, texts_t{SWEEP_STOP} + times(100, {HOLD_STILL}));
    const struct {
        double north;
        uint8_t state;                               // on the next tick
    } distances[] = {{0, 4}, {0.21, 4}, {0.19, 6}};  // exactly 0 counts as none
    for (const auto& [north, state] : distances) {
        is_at(north, 0);
        EXPECT_EQ(ext_after(1), 4);
        flown();
        printed();
        EXPECT_EQ(ext_after(1), state) << north;
    }
    EXPECT_THAT(flown(), ElementsAre(HOLD_STILL, NOTICE));
    EXPECT_THAT(printed(), AllOf(HasSubstr("[afqt]WAITING_LANDING"), HasSubstr("[afqt]sen_msg success\r\n")));
    EXPECT_THAT(logged(), AllOf(Contains("run: [afqt]WAITING_LANDING"), Contains("run: [afqt]sen_msg success\r\n")));
    expect_after(499, 6, times(499, {HOLD_STILL, NOTICE}));
    expect_after(150, 6, times(150, {LAND}));  // without an end
    is_in(33);
    expect_after(1, 6, {LAND});
    expect_after(1000, 6, {});
    printed();
    db.drone_fsm = DRONE_MOTOR_OFF;
    expect_after(1, 9, {});  // done, for one tick
    expect_after(2, 0, {GIVE_CONTROL});
    EXPECT_EQ(printed(),
              "[new afqt]landing done \r\n[new afqt] Landing exit  \r\n[new afqt]run done \r\n"
              "[new afqt] event_motion_done \r\n[new afqt] MainStaMotionRun exit  \r\n[new afqt] ext_event_reset \r\n");
}

TEST_F(AfqtFlight, HeartbeatTellsTheMotion)
{
    const auto beat = [&] {  // of the next second
        told(true);
        tick(50);
        texts_t beats = told(true);
        std::erase_if(beats, [](const std::string& text) { return !text.substr(4).starts_with(" 22/49: 01"); });
        if (beats.size() != 2) return std::to_string(beats.size()) + " heartbeats";
        EXPECT_EQ(beats[1], std::string(beats[0]).replace(0, 4, "0306"));
        return beats[0].substr(15);
    };
    EXPECT_EQ(beat(), "00 00 00 00 00");
    has_list(list_of({hover(2.5), STEP}));
    on();
    EXPECT_EQ(beat(), "01 00 00 00 00");
    takes_off();
    EXPECT_EQ(beat(), "02 00 00 00 00");
    gives_control();
    EXPECT_EQ(beat(), "03 00 01 01 00");
    tick(80);
    EXPECT_EQ(beat(), "03 00 02 02 04");
    tick(200);
    EXPECT_EQ(beat(), "04 00 00 00 00");
    switched(2);
    EXPECT_EQ(beat(), "00 00 00 00 00");
}

// 500 requests in vain, for the take-off or for control, are counted by the fault catalogue.
TEST_F(AfqtFlight, TimesOutWhenItIsNeverInTheAir)
{
    on();
    is_in(11);
    expect_after(501, 1, {TAKEOFF, TAKEOFF});
    expect_after(1, 9, {});
    expect_after(100, 9, {});
    switched(2);
    expect_after(2, 0, {GIVE_CONTROL});
}

// Lists that are refused: on the ground, or in the air once the first motion is flown.
TEST_F(AfqtFlight, RefusedListsEndInTheErrorState)
{
    for (const std::string& list : {list_of({}), list_of({motion("kRepeat"), hover(1)})}) {
        has_list(list);
        switched(1);
        printed();
        expect_after(2, 1, {});
        EXPECT_EQ(printed().find("cur_motion_type is motion_repeat") == std::string::npos, list == list_of({}));
        expect_after(11, 9, {});
        switched(2);
        expect_after(2, 0, {GIVE_CONTROL});
    }
    db.gps_ctrl_level = 2;
    for (const std::string& second : {hover(0), motion("kRtl")}) {
        has_list(list_of({hover(0.05), second}));
        on();
        takes_off();
        flown();
        logged();
        gives_control();
        EXPECT_EQ(ext(), 3);
        expect_after(1, 9, {HOLD_STILL, SWEEP_STOP});  // timed since the list was checked: done
        const auto failed = Contains(EndsWith("[afqt]motion init fail: 1 \r\n"));
        EXPECT_THAT(logged(), failed.Times(second == motion("kRtl") ? 1 : 0));
        switched(2);
        tick(2);
    }
}
