// The upgrade session's record, its data file, the remounts and the supervisor.
#include <sys/stat.h>

#include <csignal>

#include "aircraft.h"
#include "flight_timer/flight_timer.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_data_file.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_digest.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_remount.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_supervisor.h"

using testing::IsSupersetOf;

class Session : public Aircraft {
protected:
    upgrade_desc_t& session = *get_upgrade_desc();
};

TEST_F(Session, SizesAreKeptInSixteenBitsUntilTheRecordIsCleared)
{
    upgrade_set_firmware_size(&session, 100);
    upgrade_set_current_package_index(&session, 7);
    upgrade_add_saved_size(&session, 0xabcd0005);
    EXPECT_EQ(session.saved_firmware_size_, 5u);
    EXPECT_EQ(upgrade_save_data(zeros(2).data(), 0x10002), 1);
    EXPECT_EQ(file_bytes(DATABASE), zeros(2));
    EXPECT_EQ(upgrade_desc_reset(&session), 1);
    EXPECT_EQ(state(), UPGRADE_STATE_IDLE);
    EXPECT_EQ(upgrade_get_firmware_size(&session), 0u);
    EXPECT_EQ(upgrade_get_current_package_index(&session), -1);
    EXPECT_EQ(session.saved_firmware_size_, 0u);
    EXPECT_THAT(log.texts(), IsEmpty()) << "only the start clears the record loudly";
    upgrade_set_state(&session, static_cast<upgrade_state_t>(7));
    EXPECT_EQ(get_nfz_data_state(), UPGRADE_IDLE) << "no state of ours";
}

TEST_F(Session, LastPacketIsCutToWhatIsMissing)
{
    const struct {
        uint32_t size, saved;
        uint16_t len, cut;
    } cases[] = {{100, 90, 30, 10}, {100, 90, 10, 10}, {100, 100, 30, 0},
                 {0, 0, 30, 0},     {0, 5000, 980, 0}, {0xffffffff, 0xfffffff0, 30, 15}};
    for (const auto& [size, saved, len, cut] : cases) {
        upgrade_set_firmware_size(&session, size);
        session.saved_firmware_size_ = saved;
        EXPECT_EQ(upgrade_modify_datalen_last_packet(&session, len), cut);
        const std::string was = std::to_string(len), is = std::to_string(cut);
        const std::string text = "packet_data_len:" + was + ", after modify, need_to_saved_data_len:" + is + "\n";
        EXPECT_EQ(log.texts(), texts_t(cut == len ? 0 : 1, text));
    }
    upgrade_md5_init(&session);
    upgrade_md5_update(&session, zeros(15).data(), 15);  // the sum of sizes must not wrap either
    EXPECT_EQ(session.data_md5_has_checked_data_len, 0u);
}

TEST_F(Session, DirectoryIsMadeAndRemounted)
{
    const texts_t rw = {"require to remount filesystem to write and read\n"};
    const auto ended = [](int status) {
        return texts_t{"system() execute result:" + std::to_string(status << 8) + "\n",
                       "normal termination, exit status = " + std::to_string(status) + "\n"};
    };
    EXPECT_EQ(upgrade_remount_ro(), 1);
    EXPECT_FALSE(nfz_is_writable());
    EXPECT_EQ(log.texts(), texts_t{"require to remount filesystem to read only\n"} + ended(0));
    EXPECT_EQ(upgrade_delete_data(), 1);
    EXPECT_TRUE(nfz_is_writable());
    EXPECT_EQ(log.texts(), rw + ended(0) + texts_t{"upgrade delete data success\n"});
    shell("umount /tmp/NFZ && rmdir /tmp/NFZ");
    umask(0);
    EXPECT_EQ(upgrade_create_data_file(), 1);
    shell("test $(stat -c %a /tmp/NFZ) = 777 && rmdir /tmp/NFZ && ln -s /nowhere /tmp/NFZ");
    EXPECT_EQ(upgrade_create_data_file(), 0);
    EXPECT_THAT(log.texts(), ElementsAre("create upgrade data directory successfully!\r\n",
                                         "create upgrade data directory failed!!!\r\n"));
    EXPECT_EQ(upgrade_delete_data(), 0);
    const texts_t failed = {"ERROR: No such file or directory\n", "error: upgrade delete data fail!\n"};
    EXPECT_EQ(log.texts(), rw + ended(32) + failed);
}

// A mount that ran and failed counts as a success. Only a shell that was killed, or could not be waited for, does not.
TEST_F(Session, OnlyACommandThatDidNotEndByItselfFails)
{
    const char* const command = "mount -o remount,rw /tmp/NFZ";
    const struct {
        const char* script;
        int result;
        texts_t texts;
    } cases[] = {
        {"exit 32", 1, {"system() execute result:8192\n", "normal termination, exit status = 32\n"}},
        {"kill -9 $PPID", 0, {"system() execute result:9\n", "abnormal termination,signal number =9\n"}},
    };
    write_file(DATABASE, {1, 2, 3});
    for (const auto& [script, result, texts] : cases) {
        stand_in_mount(script);
        EXPECT_EQ(upgrade_remount(command), result) << script;
        EXPECT_EQ(log.texts(), texts) << script;
    }
    EXPECT_EQ(upgrade_delete_data(), 0);
    EXPECT_EQ(log.texts().back(), "remount fail, cannot delete\n");
    EXPECT_EQ(file_bytes(DATABASE).size(), 3u);
    setenv("PATH", "/nowhere", 1);
    EXPECT_EQ(upgrade_remount(command), 1);
    EXPECT_EQ(upgrade_remount(nullptr), 0);
    signal(SIGCHLD, SIG_IGN);  // the shell's end cannot be waited for
    EXPECT_EQ(upgrade_remount(command), 0);
    EXPECT_THAT(log.texts(), ElementsAre("system() execute result:32512\n", "normal termination, exit status = 127\n",
                                         "remount fail for cmd string is null\n", "system() execute result:-1\n",
                                         "cmd: mount -o remount,rw /tmp/NFZ\t, error: No child processes\n"));
}

class Supervisor : public Aircraft {
protected:
    Supervisor() { service_starts(); }
};

TEST_F(Supervisor, SilenceFailsEachRunningStateAndNoOther)
{
    for (const auto running : {UPGRADE_STATE_INIT, UPGRADE_STATE_START, UPGRADE_STATE_DATA, UPGRADE_STATE_END}) {
        upgrade_reaches(running);
        clock.jumps(20'000ms);
        upgrade_supervisor();
        EXPECT_EQ(state(), running);
        clock.jumps(1ms);
        log.texts();
        upgrade_supervisor();
        EXPECT_EQ(state(), UPGRADE_STATE_FAIL);
        const texts_t texts = log.texts();
        EXPECT_EQ(texts.front(), "too long time not receive one packet for upgrade, timeout:20001ms\n");
        EXPECT_THAT(texts, IsSupersetOf({"upgrade delete data success\n", "set state from 0 to 5\n",
                                         "require to remount filesystem to read only\n"}));
    }
    for (const auto quiet : {UPGRADE_STATE_SUCCESS, UPGRADE_STATE_IDLE, UPGRADE_STATE_FAIL}) {
        upgrade_reaches(quiet);
        log.texts();
        clock.jumps(100s);
        upgrade_supervisor();
        EXPECT_EQ(state(), quiet);
        EXPECT_THAT(log.texts(), IsEmpty());
    }
}

// Whoever keeps asking keeps the upgrade alive, even when he is refused; queries and reads do not. The last round
// crosses the wrap of the millisecond clock after 49.7 days.
TEST_F(Supervisor, EntryStartAndDataRestartTheTwentySeconds)
{
    const struct {
        size_t length;
        uint8_t set, id;
        bool restarts;
    } requests[] = {{1, 0, 0x07, true},     {1, 0, 0x08, true},     {0, 0, 0x01, false}, {0, 0, 0x0b, false},
                    {9, 0x1f, 0x11, false}, {8, 0x03, 0xea, false}, {0, 0, 0x0c, false}, {0, 0, 0x09, true}};
    for (const auto& [length, set, id, restarts] : requests) {
        if (id == 0x09) clock.jumps(std::chrono::milliseconds(0xffffffffull - 20'000 - flight_get_boot_time_ms()));
        upgrade_reaches(UPGRADE_STATE_DATA);
        clock.jumps(15s);
        app.asks(UPGRADE, set, id, zeros(length));
        clock.jumps(15s);
        clock.ticks("nfz_upgrade_timer");
        EXPECT_EQ(state(), restarts ? UPGRADE_STATE_DATA : UPGRADE_STATE_FAIL) << int{id};
    }
}
