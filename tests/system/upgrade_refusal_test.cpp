// Upgrades that must not be taken, and what is left on the device afterwards.
#include "stage.h"

using testing::HasSubstr;

class UpgradeRefusal : public Stage {
protected:
    explicit UpgradeRefusal(int scale = 1) : Stage(scale) { starts_service(); }

    // The state after every refused end: nothing on disk, nothing served.
    void expect_nothing_left(Hand& hand)
    {
        EXPECT_TRUE(file_bytes(DATABASE).empty());
        EXPECT_EQ(hand.reads(0, 16).at(0), PROFILE_RET_FAILED);
        EXPECT_NE(system("touch /tmp/NFZ/probe 2>/dev/null"), 0) << "the file system was left writable";
    }
};

TEST_F(UpgradeRefusal, DamagedOnTheWay)
{
    Hand hand;
    const bytes_t good = database(1);
    bytes_t damaged = good;
    damaged[5000] ^= 1;

    hand.sends_blocks(damaged, 21);
    EXPECT_EQ(hand.end(good), UPGRADE_RET_RECEIVED_MD5);
    expect_nothing_left(hand);

    // Its own digest is right, but the one in its tail is not.
    hand.sends_blocks(damaged, 21);
    EXPECT_EQ(hand.end(damaged), UPGRADE_RET_FILE_MD5);
    expect_nothing_left(hand);
    expect_next_upgrade_works(hand, 1);
}

TEST_F(UpgradeRefusal, OlderDatabaseUnlessTheMarkerAllowsIt)
{
    Hand hand;
    const bytes_t installed = database(5);
    ASSERT_EQ(hand.sends(installed), UPGRADE_RET_OK);

    hand.sends_blocks(database(4), 0);
    EXPECT_EQ(hand.block(0, database(4)), UPGRADE_RET_NOT_NEWER);
    EXPECT_EQ(hand.last_block(), -1);
    EXPECT_EQ(hand.block(0, database(6)), UPGRADE_RET_STATE);
    EXPECT_EQ(file_bytes(DATABASE), installed);
    EXPECT_EQ(hand.reads(0, 270).at(0), PROFILE_RET_OK);
    EXPECT_EQ(hand.sends(installed), UPGRADE_RET_OK) << "the same version may be sent again";

    shell("mount -o remount,rw /tmp/NFZ");
    write_file(ROLLBACK_MARKER, {});
    expect_next_upgrade_works(hand, 4);
}

TEST_F(UpgradeRefusal, EndThatComesEarlyOrMalformedDestroysTheUpgrade)
{
    Hand hand;
    const bytes_t sent = database(2);
    ASSERT_EQ(hand.sends(sent), UPGRADE_RET_OK);
    EXPECT_EQ(hand.end(sent), UPGRADE_RET_OK) << "once more is harmless";
    EXPECT_EQ(file_bytes(DATABASE), sent);

    hand.sends_blocks(sent, 20);
    EXPECT_EQ(hand.end(sent), UPGRADE_RET_STATE);
    expect_nothing_left(hand);

    ASSERT_EQ(hand.sends(sent), UPGRADE_RET_OK);
    EXPECT_EQ(hand.ask(HOST_NFZ_UPGRADE, SET_COMMON, ID_UPGRADE_END, bytes_t(16)), bytes_t{UPGRADE_RET_LENGTH});
    expect_nothing_left(hand);
    expect_next_upgrade_works(hand, 2);
}

class SilentApp : public UpgradeRefusal {
protected:
    SilentApp() : UpgradeRefusal(20) {}
};

// Twenty seconds of silence, twenty times faster.
TEST_F(SilentApp, LosesTheUpgradeAndTheMotorsStayHeldUntilTheNextSuccess)
{
    const auto controller = flight_controller();
    Hand hand;
    ASSERT_EQ(hand.sends(database(1)), UPGRADE_RET_OK);
    hand.sends_blocks(database(2), 3);
    ASSERT_TRUE(within(5s, [&] { return hand.reads(0, 1).at(0) == PROFILE_RET_FAILED; }));

    EXPECT_THAT(service.log(), HasSubstr("too long time not receive one packet for upgrade, timeout:2"));
    EXPECT_THAT(service.log(), HasSubstr("set state from 0 to 5\n"));
    EXPECT_TRUE(within(10s, [] { return system("touch /tmp/NFZ/probe 2>/dev/null") != 0; }));
    expect_nothing_left(hand);
    EXPECT_EQ(hand.block(3, database(2)), UPGRADE_RET_STATE);
    EXPECT_TRUE(within(2s, [&] { return controller->motors().held(); }));

    expect_next_upgrade_works(hand, 1);  // the file was emptied: nothing is newer
    EXPECT_TRUE(within(2s, [&] { return !controller->motors().held(); }));
}
