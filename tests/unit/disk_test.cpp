// An upgrade onto a disk that is full, read-only, missing or cannot be mounted: the stated codes, and a later upgrade
// works.
#include "aircraft.h"

class Disk : public Aircraft {
protected:
    void expect_later_upgrade_works()
    {
        app.takes(database({9, 9, 9, 9}));
        EXPECT_EQ(app.sends_all(), 0);
        EXPECT_EQ(file_bytes(DATABASE), app.file());
    }
};

TEST_F(Disk, BlockIsRefusedUntilTheDiskTakesItAgain)
{
    const struct {
        const char* breaks;
        const char* mends;
        int32_t blocks;  // taken before it breaks
        int end;         // code of the end request when the rest was sent after it was mended
    } cases[] = {
        // A full disk may take a piece of the block, which the digest then finds; before the first block all is
        // emptied.
        {"head -c 9m /dev/zero >/tmp/NFZ/other 2>/dev/null; test -s /tmp/NFZ/other", "rm /tmp/NFZ/other", 0, 0},
        {"head -c 9m /dev/zero >/tmp/NFZ/other 2>/dev/null; test -s /tmp/NFZ/other", "rm /tmp/NFZ/other", 8, 0xdf},
        {"mount -o remount,ro /tmp/NFZ", "mount -o remount,rw /tmp/NFZ", 2, 0},
        {"mv /tmp/NFZ/nfz.bin /tmp/NFZ/old && mkdir /tmp/NFZ/nfz.bin",
         "rmdir /tmp/NFZ/nfz.bin && mv /tmp/NFZ/old /tmp/NFZ/nfz.bin", 2, 0},
    };
    shell("umount /tmp/NFZ && sed -i s/512m/8m/ /etc/fstab && mount /tmp/NFZ");
    service_starts();
    for (const auto& [breaks, mends, blocks, end] : cases) {
        SCOPED_TRACE(breaks);
        app.takes(database({1, 2, 3, 4}, 9000));
        app.sends_blocks(blocks);
        shell(breaks);
        log.lines.clear();
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(app.sends_block(blocks), 0xf3);
            EXPECT_EQ(app.last_block(), blocks - 1);
            EXPECT_EQ(state(), UPGRADE_STATE_DATA);
        }
        EXPECT_EQ(log.count("it is first packet, need to check revertable of databse\n"), blocks == 0 ? 2u : 0u);
        shell(mends);
        for (int32_t number = blocks; number < 10; ++number)
            EXPECT_EQ(app.sends_block(number), 0);
        EXPECT_EQ(app.sends_end(), end);
        expect_later_upgrade_works();
        EXPECT_NE(app.sends_end(zeros(16)), 0);  // empties it for the next round
    }
}

TEST_F(Disk, MountCommandThatFailsOrIsKilled)
{
    const bytes_t old = database({1, 0, 0, 0});
    write_file(DATABASE, old);
    service_starts();
    shell("mount -o remount,ro /tmp/NFZ");
    stand_in_mount("exit 32");
    app.sends_blocks(0);
    EXPECT_EQ(app.sends_block(0), 0xf3);
    EXPECT_EQ(app.last_block(), -1);
    EXPECT_EQ(app.sends_end(), 0xf5);
    EXPECT_EQ(state(), UPGRADE_STATE_FAIL);
    EXPECT_EQ(file_bytes(DATABASE), old) << "on the disk until a later upgrade";
    EXPECT_EQ(fc.reads(0, 1).at(0), 7) << "but not served";

    shell("/bin/mount -o remount,rw /tmp/NFZ");
    stand_in_mount("kill -9 $PPID");
    app.sends_blocks(4);
    EXPECT_EQ(file_bytes(DATABASE), old + app.file()) << "not emptied, so the new one lies behind the old";
    EXPECT_EQ(app.sends_end(), 0xdf);
    EXPECT_EQ(state(), UPGRADE_STATE_FAIL);
    setenv("PATH", "/bin", 1);
    expect_later_upgrade_works();
}
