// The motor interlock: what goes to the flight controller at each half second.
#include "aircraft.h"

static const bytes_t REGISTRATION = bytes_t{1} + u32(0) + bytes_t{0x5f} + u16(5000) +
                                    bytes_t{'n', 'f', 'z', '_', 'u', 'p', 'g', 'r', 'a', 'd', 'i', 'n', 'g', 0, 0, 0};

static bytes_t set_status(uint32_t id, uint8_t code, uint8_t status)
{
    return bytes_t{1} + u32(id) + bytes_t{code, status} + zeros(20);
}

class Motor : public Aircraft {
protected:
    Motor() { service_starts(); }

    // Payloads of the interlock's messages in one tick; each goes to the flight controller and wants an answer.
    std::vector<bytes_t> tick()
    {
        sent();
        clock.passes(500ms);
        std::vector<bytes_t> payloads;
        for (const record_t& record : sent()) {
            if (record.from == FLIGHT || record.id == 0xce) continue;
            const uint8_t id = record.payload.size() == 24 ? 0xea : 0xec;
            EXPECT_EQ(record, (record_t{UPGRADE, 0x0306, 0x03, id, 0x0140, record.seq, record.payload}));
            payloads.push_back(record.payload);
        }
        return payloads;
    }
};

TEST_F(Motor, HeldWhileAnAppUpgradesAndReleasedForEverAfterSuccess)
{
    EXPECT_THAT(tick(), IsEmpty()) << "idle, nothing registered";
    upgrade_reaches(UPGRADE_STATE_INIT);
    bus.results.send = -111;  // a refused send is made up for by the next tick
    for (int i = 0; i < 3; ++i)
        EXPECT_THAT(tick(), ElementsAre(REGISTRATION, set_status(0, 0, 1))) << "asked again until it is answered";
    bus.results.send = 0;
    log.texts();
    fc.answers_registration(0, 0xa1b2c3d4, 0x77);
    EXPECT_THAT(log.texts("nfz_upgrade_motor_regist_result"),
                ElementsAre("regist motor error code, result 0\n", "fc give requester id:-1582119980",
                            "fc give motor ext error code:119"));
    for (const auto at : {UPGRADE_STATE_INIT, UPGRADE_STATE_START, UPGRADE_STATE_DATA, UPGRADE_STATE_END,
                          UPGRADE_STATE_FAIL, UPGRADE_STATE_SUCCESS, UPGRADE_STATE_IDLE}) {
        upgrade_reaches(at);
        const bool held = at != UPGRADE_STATE_SUCCESS && at != UPGRADE_STATE_IDLE;
        for (int i = 0; i < 2; ++i)
            EXPECT_THAT(tick(), ElementsAre(set_status(0xa1b2c3d4, 0x77, held ? 1 : 0))) << at;
    }
}

// The last entry's sender decides.
TEST_F(Motor, OnlyTheAppsUpgradeHoldsThem)
{
    for (const int host : {0x1103, 0x0302, 0x02ff, 0x0002}) {
        log.texts();
        EXPECT_EQ(App(bus, static_cast<uint16_t>(host)).sends_entry(), 0);
        EXPECT_EQ(log.texts().at(0), host == 0x02ff ? "is_app_req_upgrade:1" : "is_app_req_upgrade:0");
        EXPECT_EQ(tick().size(), host == 0x02ff ? 2u : 0u) << host;
    }
}

TEST_F(Motor, AnswersThatDoNotCount)
{
    upgrade_reaches(UPGRADE_STATE_INIT);
    log.texts();
    fc.answers_registration(0, 7, 8, WANTS_REPLY);
    fc.asks(UPGRADE, 0x03, 0xea, zeros(7), IS_REPLY);
    EXPECT_THAT(log.texts(), IsEmpty());
    EXPECT_THAT(tick(), ElementsAre(REGISTRATION, set_status(0, 0, 1))) << "not a reply, or too short";
    fc.answers_registration(3, 7, 8);
    EXPECT_EQ(log.count("regist motor error code, result 3\n"), 1u);
    EXPECT_THAT(tick(), ElementsAre(REGISTRATION, set_status(0, 0, 1))) << "refused: asked again";
    upgrade_reaches(UPGRADE_STATE_SUCCESS);
    EXPECT_THAT(tick(), IsEmpty()) << "never registered, nothing to release";

    fc.answers_registration(0, 7, 8);
    EXPECT_THAT(tick(), ElementsAre(set_status(7, 8, 0)));
    fc.answers_registration(1, 9, 9);
    EXPECT_THAT(tick(), IsEmpty()) << "a later refusal takes the registration back";
    upgrade_reaches(UPGRADE_STATE_INIT);
    EXPECT_THAT(tick(), ElementsAre(REGISTRATION, set_status(7, 8, 1)));
    fc.asks(UPGRADE, 0x03, 0xea, bytes_t{0} + u32(10) + bytes_t(1003, 11), IS_REPLY);
    EXPECT_THAT(tick(), ElementsAre(set_status(10, 11, 1))) << "a longer answer counts by its first 8 bytes";
}

// Announcement, then supervisor, then interlock: in the tick that gives an upgrade up nothing is announced any more,
// and the motors are held as in any other.
TEST_F(Motor, TimerDoesItsThreeJobsInOrder)
{
    const auto ticked = [&] {
        sent();
        clock.ticks("nfz_upgrade_timer");
        std::vector<int> ids;
        for (const record_t& record : sent())
            ids.push_back(record.id);
        return ids;
    };
    upgrade_reaches(UPGRADE_STATE_INIT);
    clock.jumps(20'001ms);
    bus.results.send = -111;  // so that the log tells when the interlock's turn was
    log.texts();
    EXPECT_THAT(ticked(), ElementsAre(0xea, 0xec));
    const std::vector<std::string> texts = log.texts();
    EXPECT_THAT(texts.front(), HasSubstr("too long time"));
    EXPECT_THAT(texts.back(), HasSubstr("set:0x03|id:0xec"));
    EXPECT_EQ(state(), UPGRADE_STATE_FAIL);
    EXPECT_THAT(ticked(), ElementsAre(0xce, 0xea, 0xec));
}
