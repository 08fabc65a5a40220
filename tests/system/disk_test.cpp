// A database directory that is missing, read-only or full, and a file that is none.
#include <filesystem>

#include "stage.h"

using testing::HasSubstr;

class Disk : public Stage {};

TEST_F(Disk, MissingDirectoryIsMadeAtTheStart)
{
    shell("umount /tmp/NFZ && rmdir /tmp/NFZ");
    starts_service();
    Hand hand;
    EXPECT_THAT(service.log(), HasSubstr("create upgrade data directory successfully!\r\n"));
    EXPECT_TRUE(std::filesystem::is_regular_file(DATABASE)) << "the start-up check leaves an empty file";
    expect_next_upgrade_works(hand, 1);  // the mount command fails there, which is no obstacle

    std::filesystem::remove_all("/tmp/NFZ");
    EXPECT_EQ(hand.reads(0, 1).at(0), PROFILE_RET_NO_FILE);
    ASSERT_EQ(hand.entry(), UPGRADE_RET_OK);
    ASSERT_EQ(hand.start(20'000), UPGRADE_RET_OK);
    EXPECT_EQ(hand.block(0, database(2)), UPGRADE_RET_NOT_WRITTEN);
    EXPECT_EQ(hand.last_block(), -1);
    std::filesystem::create_directory("/tmp/NFZ");
    EXPECT_EQ(hand.block(0, database(2)), UPGRADE_RET_OK);
    expect_next_upgrade_works(hand, 3);
}

TEST_F(Disk, FullDiskRefusesTheBlockUntilThereIsRoom)
{
    mounts_nfz("16k");
    starts_service();
    Hand hand;
    const bytes_t sent = database(1, 40'000);
    ASSERT_EQ(hand.entry(), 0);
    ASSERT_EQ(hand.start(40'000), 0);
    int32_t number = 0;
    while (hand.block(number, sent) == UPGRADE_RET_OK)
        ++number;
    EXPECT_EQ(number, 16) << "16384 bytes hold 16 blocks of 980";
    EXPECT_EQ(hand.block(number, sent), UPGRADE_RET_NOT_WRITTEN);
    EXPECT_EQ(hand.last_block(), 15);
    EXPECT_THAT(service.log(), HasSubstr("ERROR: save data error,, data_len:980, saved_dat_len:704\n"));

    // Room again: the block is taken, but the pieces that the full disk took are in the file and the digest finds them.
    shell("sed -i s/16k/1m/ /etc/fstab && mount -o remount,rw /tmp/NFZ");
    for (; number < 41; ++number)
        ASSERT_EQ(hand.block(number, sent), UPGRADE_RET_OK) << number;
    EXPECT_EQ(hand.end(sent), UPGRADE_RET_FILE_MD5);
    EXPECT_TRUE(file_bytes(DATABASE).empty());
    expect_next_upgrade_works(hand, 1);
}

TEST_F(Disk, ReadOnlyInTheMiddleIsMendedByTheNextStart)
{
    starts_service();
    Hand hand;
    const bytes_t sent = database(1);
    hand.sends_blocks(sent, 2);
    shell("mount -o remount,ro /tmp/NFZ");
    EXPECT_EQ(hand.block(2, sent), UPGRADE_RET_NOT_WRITTEN);
    EXPECT_EQ(hand.last_block(), 1);
    EXPECT_THAT(service.log(), HasSubstr("ERROR: Read-only file system\n"));
    expect_next_upgrade_works(hand, 1);
}

TEST_F(Disk, DirectoryInPlaceOfTheFile)
{
    std::filesystem::create_directory(DATABASE);
    starts_service();
    Hand hand;
    EXPECT_THAT(service.log(), HasSubstr("error: upgrade delete data fail!\n"));
    EXPECT_EQ(hand.reads(0, 10).at(0), PROFILE_RET_SHORT);
    hand.sends_blocks(database(1), 0);
    EXPECT_EQ(hand.block(0, database(1)), UPGRADE_RET_NOT_WRITTEN);
    std::filesystem::remove(DATABASE);
    expect_next_upgrade_works(hand, 1);
}

// Each damage is found when the service starts, and the file is emptied.
TEST_F(Disk, DamagedDatabaseIsDroppedAtTheStart)
{
    bytes_t zeros = database(1);
    std::fill_n(zeros.begin(), 16, uint8_t{0});
    zeros[15] = 1;
    const peers::md5_digest_t digest = peers::md5_of(peers::bytes_view(zeros).first(zeros.size() - 16));
    std::copy(digest.begin(), digest.end(), zeros.end() - 16);
    bytes_t flipped = database(1);
    flipped[3000] ^= 0x10;
    bytes_t cut = database(1);
    cut.resize(9'000);
    const struct {
        bytes_t file;
        const char* log;
    } cases[] = {
        {zeros, "the first 64 bytes checked failed! 1\n"},
        {flipped, "md5 is not same\n"},
        {cut, "md5 is not same\n"},
        {bytes_t(16, 7), "file_size[16] is too short\n"},
        {{}, "file_size[0] is too short\n"},
    };
    for (const auto& [file, log] : cases) {
        shell("mount -o remount,rw /tmp/NFZ");
        write_file(DATABASE, file);
        restarts_service();
        EXPECT_TRUE(file_bytes(DATABASE).empty()) << log;
        EXPECT_THAT(service.log(), HasSubstr(log));
    }
}
