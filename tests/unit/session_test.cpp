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

TEST_F(Session, RecordIsClearedLoudlyAtStartAndSilentlyLater)
{
    upgrade_set_firmware_size(&session, 100);
    upgrade_set_current_package_index(&session, 7);
    EXPECT_EQ(upgrade_desc_init(&session), 1);
    EXPECT_EQ(upgrade_get_firmware_size(&session), 0u);
    EXPECT_EQ(upgrade_get_last_package_index(&session), -1);
    EXPECT_EQ(upgrade_get_current_package_index(&session), 0);
    upgrade_set_state(&session, UPGRADE_STATE_FAIL);
    EXPECT_THAT(log.texts(), ElementsAre("upgrade_desc_init\n", "upgrade data directory has existed!\r\n",
                                         "set state from 0 to 5\n"));
    upgrade_add_saved_size(&session, 0xabcd0005);
    EXPECT_EQ(session.saved_firmware_size_, 5u) << "the low 16 bits";
    EXPECT_EQ(upgrade_desc_reset(&session), 1);
    EXPECT_EQ(state(), UPGRADE_STATE_IDLE);
    EXPECT_EQ(session.saved_firmware_size_, 0u);
    EXPECT_EQ(upgrade_get_current_package_index(&session), -1);
    EXPECT_THAT(log.texts(), IsEmpty());
    upgrade_set_state(&session, static_cast<upgrade_state_t>(7));
    EXPECT_EQ(get_nfz_data_state(), UPGRADE_IDLE) << "no state of ours";
    EXPECT_TRUE(upgrade_state_is(&session, 0xff07)) << "the low 8 bits";
}

// A handler that was overtaken by the silence supervisor used to write its own next state over FAIL.
TEST_F(Session, HandlerAdvancesOnlyFromTheStateItSaw)
{
    upgrade_set_state(&session, UPGRADE_STATE_FAIL);
    log.texts();
    EXPECT_FALSE(upgrade_advance_state(&session, UPGRADE_STATE_END, UPGRADE_STATE_SUCCESS));
    EXPECT_EQ(upgrade_get_state(&session), UPGRADE_STATE_FAIL);
    EXPECT_THAT(log.texts(), IsEmpty());
    EXPECT_TRUE(upgrade_advance_state(&session, UPGRADE_STATE_FAIL, UPGRADE_STATE_INIT));
    EXPECT_THAT(log.texts(), ElementsAre("set state from 5 to 1\n"));
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
        EXPECT_EQ(log.texts().size(), cut == len ? 0u : 1u);
    }
    EXPECT_EQ(log.count("packet_data_len:30, after modify, need_to_saved_data_len:10\n"), 1u);
    upgrade_md5_init(&session);
    upgrade_md5_update(&session, zeros(15).data(), 15);  // the sum of sizes must not wrap either
    EXPECT_EQ(session.data_md5_has_checked_data_len, 0u);
}

TEST_F(Session, DirectoryIsMadeIfItIsMissing)
{
    shell("umount /tmp/NFZ && rmdir /tmp/NFZ");
    umask(0);
    EXPECT_EQ(upgrade_create_data_file(), 1);
    shell("test $(stat -c %a /tmp/NFZ) = 777 && rmdir /tmp/NFZ && ln -s /nowhere /tmp/NFZ");
    EXPECT_EQ(upgrade_create_data_file(), 0);
    EXPECT_THAT(log.texts(), ElementsAre("create upgrade data directory successfully!\r\n",
                                         "create upgrade data directory failed!!!\r\n"));
}

TEST_F(Session, DataFileIsAppendedAndEmptied)
{
    const bytes_t data(9000, 0x11);
    shell("umount /tmp/NFZ && mount -t tmpfs -o size=8k tmpfs /tmp/NFZ");
    EXPECT_EQ(upgrade_save_data(data.data(), 3), 1);
    EXPECT_EQ(upgrade_save_data(data.data(), 0x10002), 1) << "the low 16 bits";
    EXPECT_EQ(file_bytes(DATABASE), bytes_t(5, 0x11));
    EXPECT_EQ(upgrade_save_data(data.data(), 9000), 0);
    shell("mount -o remount,ro /tmp/NFZ");
    EXPECT_EQ(upgrade_save_data(data.data(), 1), 0);
    EXPECT_EQ(log.texts().back(), "ERROR: Read-only file system\n");
    EXPECT_EQ(log.count("ERROR: save data error,, data_len:9000, saved_dat_len:8187\n"), 1u);
    EXPECT_EQ(upgrade_delete_data(), 1);
    EXPECT_EQ(log.texts().back(), "upgrade delete data success\n");
    EXPECT_TRUE(nfz_is_writable());
    EXPECT_THAT(file_bytes(DATABASE), IsEmpty());
    shell("umount /tmp/NFZ && rmdir /tmp/NFZ");
    EXPECT_EQ(upgrade_delete_data(), 0);
    const texts_t texts = log.texts();
    EXPECT_THAT(texts_t(texts.end() - 2, texts.end()),
                ElementsAre("ERROR: No such file or directory\n", "error: upgrade delete data fail!\n"));
}

TEST_F(Session, RemountRunsTheTwoCommands)
{
    EXPECT_EQ(upgrade_remount_ro(), 1);
    EXPECT_FALSE(nfz_is_writable());
    EXPECT_EQ(upgrade_remount_rw(), 1);
    EXPECT_TRUE(nfz_is_writable());
    const texts_t ended = {"system() execute result:0\n", "normal termination, exit status = 0\n"};
    EXPECT_EQ(log.texts(), texts_t{"require to remount filesystem to read only\n"} + ended +
                               texts_t{"require to remount filesystem to write and read\n"} + ended);
    stand_in_mount("echo \"$@\" >>/tmp/mounted");
    upgrade_remount_ro();
    upgrade_remount_rw();
    const bytes_t text = file_bytes("/tmp/mounted");
    EXPECT_EQ(std::string(text.begin(), text.end()), "-o remount,ro /tmp/NFZ\n-o remount,rw /tmp/NFZ\n");
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
        {"kill -15 $PPID", 0, {"system() execute result:15\n", "abnormal termination,signal number =15\n"}},
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
        shell("mount -o remount,rw /tmp/NFZ");
        write_file(DATABASE, app.file());
        upgrade_reaches(running);
        clock.jumps(20'000ms);
        upgrade_supervisor();
        EXPECT_EQ(state(), running);
        clock.jumps(1ms);
        log.texts();
        upgrade_supervisor();
        const texts_t texts = log.texts();
        EXPECT_EQ(texts.front(), "too long time not receive one packet for upgrade, timeout:20001ms\n");
        EXPECT_THAT(texts, IsSupersetOf({"upgrade delete data success\n", "set state from 0 to 5\n",
                                         "require to remount filesystem to read only\n"}));
        EXPECT_THAT(file_bytes(DATABASE), IsEmpty());
        EXPECT_FALSE(nfz_is_writable());
        EXPECT_EQ(app.sends_block(1), 0xf5);
    }
    for (const auto quiet : {UPGRADE_STATE_SUCCESS, UPGRADE_STATE_IDLE, UPGRADE_STATE_FAIL}) {
        upgrade_reaches(quiet);
        log.texts();
        clock.jumps(100'000ms);
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
