// The database on the device: the check at the start, its head and version, the ranges that the flight controller
// reads.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "aircraft.h"
#include "flight_version/flight_version.h"
#include "nfz_data_upgrade/nfz_data_upgrade.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_database.h"

using testing::Contains;
using testing::IsSupersetOf;

class StartCheck : public Aircraft {};

TEST_F(StartCheck, DatabaseIsKeptOrEmptied)
{
    const bytes_t good = database({1, 2, 3, 4});
    bytes_t blank = good;
    std::fill_n(blank.begin(), 16, uint8_t{0});
    bytes_t lone_one = blank, lone_two = blank;
    lone_one[7] = 1;
    lone_two[15] = 2;
    const std::string kept = "the first 64 bytes checked successed! ";
    const struct {
        bytes_t file;
        std::string text;
    } cases[] = {{database({1, 0, 0, 0}, 200'000), kept},
                 {with_digest(lone_two), kept},
                 {with_digest(bytes_t(17, 8)), kept},
                 {bytes_t(16, 7), "file_size[16] is too short\n"},
                 {good + bytes_t{0}, "md5 is not same\n"},
                 {with_digest(blank), "the first 64 bytes checked failed! 0\n"},
                 {with_digest(lone_one), "the first 64 bytes checked failed! 1\n"}};
    for (const auto& [file, text] : cases) {
        SCOPED_TRACE(text);
        shell("mount -o remount,rw /tmp/NFZ");
        write_file(DATABASE, file);
        upgrade_set_state(get_upgrade_desc(), UPGRADE_STATE_DATA);
        log.texts();
        upgrade_check_databse();
        const texts_t texts = log.texts();
        const bool stays = text == kept;
        EXPECT_THAT(texts, Contains(testing::StartsWith(text)));
        EXPECT_THAT(texts, Contains("upgrade delete data success\n").Times(stays ? 0 : 1));
        EXPECT_EQ(file_bytes(DATABASE), stays ? file : bytes_t{});
        EXPECT_EQ(nfz_is_writable(), stays) << "no mount command ran";
        EXPECT_EQ(state(), stays ? UPGRADE_STATE_DATA : UPGRADE_STATE_IDLE) << "the record is reset";
    }
    shell("mount -o remount,rw /tmp/NFZ && rm /tmp/NFZ/nfz.bin");
    upgrade_check_databse();
    EXPECT_THAT(log.texts(), IsSupersetOf({"ERROR: No such file or directory\n", "get file size fail"}));
    EXPECT_TRUE(exists(DATABASE)) << "an empty file is there afterwards";
}

// The whole start of the module: record, client, check, version, timer.
TEST_F(StartCheck, ModuleStartsInOrderAndGoesOnWithoutItsTimer)
{
    write_file(DATABASE, bytes_t(16, 7));
    clock.creation_result = -11;
    upgrade_init();
    const texts_t texts = log.texts();
    ASSERT_GE(texts.size(), 7u);
    EXPECT_THAT(texts_t(texts.begin(), texts.begin() + 5),
                ElementsAre("upgrade_desc_init\n", "upgrade data directory has existed!\r\n",
                            "upgrade create fc_fmu route table success! result=0x00 5\n",
                            testing::StartsWith("upgrade create event success"), "file_size[16] is too short\n"));
    EXPECT_THAT(texts_t(texts.end() - 2, texts.end()),
                ElementsAre("vela_flight version: 0-0-0-15\n", "fail to create nfz_upgrade_timer\n"));
    EXPECT_EQ(log.lines.back().tag, "upgrade_init");

    clock.creation_result = 0;
    upgrade_init();
    EXPECT_EQ(text_of(*clock.timers.at(0)), "nfz_upgrade_timer: 500000 us, repeat 0, priority 19");
    EXPECT_EQ(log.texts().back(), "vela_flight version: 0-0-0-15\n");
}

class Database : public Aircraft {
protected:
    Database()
    {
        write_file(DATABASE, file);
        service_starts();
        shell("mount -o remount,rw /tmp/NFZ");
    }
    static bytes_t range(uint32_t address, uint32_t length) { return bytes_t{0xee} + u32(address) + u32(length); }

    // The request is refused with this code and nothing else; `text` is printed or logged.
    void expect_refusal(const bytes_t& request, uint8_t code, const std::string& text)
    {
        log.texts();
        testing::internal::CaptureStdout();
        const bytes_t reply = fc.asks(UPGRADE, 0x1f, 0x11, request);
        std::string said = testing::internal::GetCapturedStdout();
        for (const std::string& line : log.texts())
            said += line;
        EXPECT_THAT(said, HasSubstr(text));
        EXPECT_EQ(reply, bytes_t{code} + zeros(274));
    }

    const bytes_t file = database({5, 6, 7, 8}, 66'000);
};

TEST_F(Database, RangesAndRefusalsInTheirOrder)
{
    EXPECT_EQ(fc.reads(65'900, 50), bytes_t{0} + u32(65'900) + part(file, 65'900, 65'950)) << "behind 64 KiB";
    expect_refusal(range(0, 271), 5, "REQUIRE_TOO_LONG_DATA, require data len:271\n");
    expect_refusal(range(65'731, 270), 4, "DATA_LEN_READ_ERROR, read_len:");
    expect_refusal(zeros(8), 2, "READ_FAIL_FOR_ERROR_DATA_LEN");
    shell("rm /tmp/NFZ/nfz.bin");
    expect_refusal(range(0, 271), 5, "");
    expect_refusal(range(0, 270), 1, "ERROR: No such file or directory, read_fail_file_not_exist\n");
    ASSERT_EQ(mkfifo(DATABASE, 0600), 0);
    const int writer = open(DATABASE, O_RDWR);
    expect_refusal(range(0, 16), 3, "seek_result:");
    close(writer);
    upgrade_reaches(UPGRADE_STATE_INIT);
    expect_refusal(range(0, 271), 6, "");
    expect_refusal(zeros(10), 2, "");
}

class Version : public Aircraft {};

TEST_F(Version, TellsServiceAndDatabase)
{
    service_starts();
    shell("mount -o remount,rw /tmp/NFZ");
    const bytes_t service = bytes_t{0, 0x01, 'u', 'n', 'k', 'n', 'o', 'w', 'n'} + zeros(9) + bytes_t{15, 0, 0, 0} +
                            bytes_t{15, 0, 0, 0} + u32(5) + bytes_t{0};
    const bytes_t narrowed = {0xf4, 0xff, 2, 1};
    const auto expect_told = [&](const bytes_t& database, const char* printed, const std::string& text) {
        log.texts();
        testing::internal::CaptureStdout();
        EXPECT_EQ(app.asks(FLIGHT, 0x00, 0x01, {0xff, 0xff}), service + database);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  std::string("get flight version\nfw version:") + printed + "\n");
        texts_t texts = {"ack the version check\n"};
        if (!text.empty()) texts = {text, "cannot read head from database, need update\n", texts[0]};
        EXPECT_EQ(log.texts(), texts);
    };
    write_file(DATABASE, database({0x101, 0x202, 0x3ff, 0xfffffff4}));
    expect_told(zeros(17) + narrowed + narrowed + zeros(5), "[1,2,255,244]", "");
    write_file(DATABASE, bytes_t(127, 9));
    expect_told(zeros(30), "[0,0,0,0]", "NFZ_BIN_DATA_LEN_READ_ERROR, read_len:63\n");
    shell("rm /tmp/NFZ/nfz.bin");
    expect_told(zeros(30), "[0,0,0,0]", "ERROR: No such file or directory, nfz_bin_file_not_exist\n");
    ASSERT_EQ(mkfifo(DATABASE, 0600), 0);
    const int writer = open(DATABASE, O_RDWR);  // keeps the service's open from waiting for one
    expect_told(zeros(30), "[0,0,0,0]", "NFZ_BIN_NOT_FIND_EXPECT_ADDRESS, seeK_result:-1\n");
    close(writer);
    flight_v1_pack_t pack = {};
    EXPECT_EQ(get_flight_version(&pack, nullptr, 1024), 0u);
}
