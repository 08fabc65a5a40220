// The upgrade's requests, sent over the bus: replies byte by byte, files, states, and what is said on the way. Block
// numbers, lengths and sizes that no app should send are told by the fault catalogue's model.
#include <thread>

#include "aircraft.h"

using testing::Contains;

class Upgrade : public Aircraft {
protected:
    Upgrade() { service_starts(); }

    // What every refused end leaves.
    void expect_ended()
    {
        EXPECT_EQ(state(), UPGRADE_STATE_FAIL);
        EXPECT_THAT(file_bytes(DATABASE), IsEmpty());
        EXPECT_FALSE(nfz_is_writable());
        EXPECT_EQ(fc.reads(0, 1), bytes_t{7} + zeros(274));
        EXPECT_EQ(app.sends_data(0, {}), 0xf5);
        EXPECT_EQ(app.last_block(), -1) << "the record is reset";
    }
    void expect_next_upgrade_works()
    {
        app.takes(database({200, 0, 0, 1}));
        EXPECT_EQ(app.sends_all(), 0);
        EXPECT_EQ(file_bytes(DATABASE), app.file());
        EXPECT_EQ(fc.reads(70, 270).size(), 275u);
    }
};

TEST_F(Upgrade, WholeUpgradeByteByByte)
{
    app.takes(database({1, 2, 3, 4}, 1976));
    const bytes_t& file = app.file();
    const auto asks = [&](uint8_t id, const bytes_t& payload) { return app.asks(UPGRADE, 0, id, payload); };
    log.texts();
    EXPECT_EQ(asks(0x07, bytes_t(9, 0xff)), (bytes_t{0, 1, 1}));
    EXPECT_THAT(log.texts(), ElementsAre("is_app_req_upgrade:1", "set state from 0 to 1\n"));
    EXPECT_EQ(asks(0x08, bytes_t{0xff} + u32(1976) + bytes_t(8, 0xff)), bytes_t{0} + u16(980) + zeros(68));
    EXPECT_TRUE(nfz_is_writable());
    EXPECT_THAT(log.texts("upgrade_set_state"), ElementsAre("set state from 1 to 2\n"));
    EXPECT_EQ(asks(0x09, bytes_t{9} + u32(0) + u16(980) + part(file, 0, 980)), bytes_t{0} + u32(0));
    EXPECT_EQ(fc.reads(0, 1), bytes_t{6} + zeros(274));
    log.texts();
    // Ends exactly at the digest, and is left to the read-back like all behind it.
    EXPECT_EQ(asks(0x09, bytes_t{9} + u32(1) + u16(980) + part(file, 980, 1960)), bytes_t{0} + u32(1));
    EXPECT_EQ(asks(0x09, bytes_t{9} + u32(2) + u16(16) + part(file, 1960, 1976)), bytes_t{0} + u32(2));
    const char* const unchecked = "not check this packet's data md5\n";
    EXPECT_THAT(log.texts(),
                ElementsAre(unchecked, "saved_firmware_size 980, whole firmware size1976", unchecked,
                            "saved_firmware_size 1960, whole firmware size1976", "set state from 3 to 4\n"));
    EXPECT_EQ(log.count("it is first packet, need to check revertable of databse\n"), 1u);
    EXPECT_EQ(asks(0x0a, bytes_t{9} + md5_of(file)), bytes_t{0});
    EXPECT_THAT(log.texts("upgrade_set_state"), ElementsAre("set state from 4 to 6\n"));
    EXPECT_FALSE(nfz_is_writable());
    EXPECT_EQ(file_bytes(DATABASE), file);
    EXPECT_EQ(fc.reads(128, 4), bytes_t{0} + u32(128) + part(file, 128, 132));
}

TEST_F(Upgrade, EveryStateTimesEveryRequest)
{
    const struct {
        int start, data, end;
        uint8_t read;
    } codes[] = {
        {0xf5, 0xf5, 0xf5, 0},  // idle
        {0x00, 0xf5, 0xf5, 6},  // entry accepted
        {0x00, 0x00, 0xf5, 6},  // start accepted
        {0xf5, 0x00, 0xf5, 6},  // receiving
        {0xf5, 0xf5, 0x00, 6},  // all received
        {0xf5, 0xf5, 0xf5, 7},  // failed
        {0xf5, 0xf5, 0x00, 0},  // verified
    };
    for (uint32_t number = 0; number < std::size(codes); ++number) {
        SCOPED_TRACE(number);
        const auto from = static_cast<upgrade_state_t>(number);
        const auto& [start, data, end, read] = codes[number];
        upgrade_reaches(UPGRADE_STATE_SUCCESS);  // so that a file is there to be read
        upgrade_reaches(from);
        EXPECT_EQ(fc.reads(0, 4).at(0), read);
        const bool has_head = file_bytes(DATABASE).size() >= 128;
        const bytes_t version = has_head ? bytes_t{4, 3, 2, 1} : zeros(4);
        const bytes_t protocol = {static_cast<uint8_t>(has_head ? 0xa0 : 0)};
        EXPECT_EQ(app.asks(UPGRADE, 0, 0x01, {7}), bytes_t{0} + protocol + zeros(20) + version + zeros(4));
        EXPECT_EQ(app.asks(UPGRADE, 0, 0x0b, {1, 2, 3}), bytes_t{0});
        EXPECT_EQ(app.asks(UPGRADE, 0, 0x0c, {}), (bytes_t{0, 0, 1, 0, 0, 0}));
        EXPECT_THAT(log.texts(), Contains("ack_result, ret_code 0, ack_buf_len 6\n"));
        for (const uint8_t id : bytes_t{0x07, 0x08, 0x09})
            EXPECT_EQ(app.asks(UPGRADE, 0, id, zeros(10)).at(0), 0x02) << "malformed comes before everything else";
        EXPECT_EQ(state(), from);
        EXPECT_EQ(app.sends_start(), start);
        EXPECT_EQ(state(), start == 0 ? UPGRADE_STATE_START : from);
        upgrade_reaches(from);
        EXPECT_EQ(app.sends_block(from == UPGRADE_STATE_DATA ? 1 : 0), data);
        EXPECT_EQ(state(), data == 0 ? UPGRADE_STATE_DATA : from);
        upgrade_reaches(from);
        EXPECT_EQ(app.sends_end(), end);
        if (end != 0) expect_ended();
        EXPECT_EQ(app.sends_end(zeros(number % 2 == 0 ? 15 : 17)), 0x02) << "16 bytes in all";
        expect_ended();
    }
    expect_next_upgrade_works();
}

TEST_F(Upgrade, OlderDatabaseIsRefusedUnlessTheMarkerAllowsIt)
{
    const char* const latest = "the version of data base is latest, not need update\n";
    const char* const old = "the version of data base is old, need update\n";
    const struct {
        version_numbers_t received;
        const char* text;
        const char* numbers;
    } cases[] = {{{1, 2, 3, 4}, "the version of data base is same, can update\n", "[1.2.3.4]"},
                 {{1, 2, 3, 5}, old, "[1.2.3.5]"},
                 {{1, 2, 3, 3}, latest, "[1.2.3.3]"},
                 {{1, 1, 0xffffffff, 5}, latest, "[1.1.-1.5]"},
                 {{2, 0, 0, 0}, old, "[2.0.0.0]"}};
    const std::string marker = std::string("file:") + ROLLBACK_MARKER;
    const std::string not_there =
        marker + " is not existed, need check version to decide update the nfz database or not\n";
    const auto texts_of_first_block = [&](const bytes_t& stored, const version_numbers_t& received, int code) {
        shell("mount -o remount,rw /tmp/NFZ");
        write_file(DATABASE, stored);
        app.takes(database(received));
        app.sends_blocks(0);
        log.texts();
        EXPECT_EQ(app.sends_block(0), code);
        EXPECT_EQ(file_bytes(DATABASE) == stored, code != 0);
        return log.texts("check_version_need_update");
    };
    for (const auto& [received, text, numbers] : cases) {
        EXPECT_THAT(texts_of_first_block(database({1, 2, 3, 4}), received, text == latest ? 0xdd : 0),
                    ElementsAre(not_there, "read     version:[1.2.3.4]\n",
                                std::string("received version:") + numbers + "\n", text));
    }
    EXPECT_THAT(texts_of_first_block(bytes_t(127, 0xff), {0, 0, 0, 1}, 0),
                ElementsAre(not_there, "cannot read head from database, need update\n"));
    write_file(ROLLBACK_MARKER, {});
    EXPECT_THAT(texts_of_first_block(database({9, 0, 0, 0}), {0, 0, 0, 1}, 0),
                ElementsAre(marker + " is existed, can rollback the nfz database, do not check version\n"));
}

// What is read back at the end is what the disk has, whoever wrote it: the last block's content and the digest.
TEST_F(Upgrade, WrongDigestsEndIt)
{
    const bytes_t good = app.file();
    bytes_t wrong_tail = good, last_bit = md5_of(good);
    wrong_tail[good.size() - 16] ^= 1;
    last_bit[15] ^= 1;
    const struct {
        int32_t blocks;  // sent before the disk changes
        bytes_t disk;
        const char* text = "";
    } changes[] = {{3, part(good, 0, 2940) + bytes_t{0}},  // one surplus byte
                   {3, {}, "!!!!!get data md5 fail\n"},
                   {4, wrong_tail},
                   {4, part(good, 0, 2999), "!!!!!read md5 code from file fail\n"}};
    for (const auto& [blocks, disk, text] : changes) {
        app.sends_blocks(blocks);
        write_file(DATABASE, disk);
        for (int32_t number = blocks; number < 4; ++number)
            EXPECT_EQ(app.sends_block(number), 0);
        log.texts();
        EXPECT_EQ(app.sends_end(), 0xdf);
        EXPECT_THAT(log.texts(), Contains(HasSubstr(text)));
        expect_ended();
    }
    for (const bool right : {true, false}) {  // no room for a digest of its own
        app.sends_entry();
        app.sends_start(16);
        EXPECT_EQ(app.sends_data(0, zeros(80)), 0);
        log.texts();
        EXPECT_EQ(app.sends_end(right ? md5_of(zeros(16)) : zeros(16)), right ? 0xdf : 0xde);
        const auto too_short = Contains(testing::StartsWith("the size of firmware is too short, firmware size 0x"));
        EXPECT_THAT(log.texts(), too_short.Times(right ? 1 : 0)) << "the first test comes first";
    }
    EXPECT_EQ(app.sends_all(), 0);
    EXPECT_EQ(app.sends_end(), 0) << "once more is harmless";
    EXPECT_EQ(app.sends_end(last_bit), 0xde) << "after the success, too";
    expect_ended();
    expect_next_upgrade_works();
}

// The digests must come out right wherever blocks begin and end, above all around the last 16 bytes.
TEST_F(Upgrade, AnyBlockSizeGivesTheSameDigests)
{
    for (const size_t size : {200u, 201u, 208u, 215u, 216u, 217u}) {
        for (const size_t block_size : {64u, 80u, 100u, 184u, 199u, 203u}) {
            app.takes(database({0, 0, 0, 0}, size));
            app.sends_blocks(0);
            for (int32_t number = 0; state() != UPGRADE_STATE_END; ++number)
                ASSERT_EQ(app.sends_block(number, block_size), 0);
            ASSERT_EQ(app.sends_end(), 0) << size << " in blocks of " << block_size;
            ASSERT_EQ(file_bytes(DATABASE), app.file());
        }
    }
    app.takes(with_digest(zeros(17)));  // the smallest that can verify
    app.sends_blocks(0);
    EXPECT_EQ(app.sends_data(0, app.file() + zeros(63)), 0);
    EXPECT_EQ(app.sends_end(), 0);
}

// The first block waits for its mount command while the session times out: the block used to be answered with success
// and to take the session to DATA again.
TEST_F(Upgrade, TimeOutUnderABlockWins)
{
    app.sends_blocks(0);
    stand_in_mount(
        "if [ ! -e /tmp/waits ]; then : >/tmp/waits; while [ ! -e /tmp/go ]; do /bin/sleep 0.01; done; fi\n"
        "exec /bin/mount \"$@\"");
    int code = -1;
    std::thread block([&] { code = app.sends_block(0); });
    while (!exists("/tmp/waits"))
        std::this_thread::sleep_for(5ms);
    clock.jumps(20'001ms);
    clock.ticks("nfz_upgrade_timer");
    write_file("/tmp/go", {});
    block.join();
    EXPECT_EQ(code, 0xf5);
    EXPECT_EQ(state(), UPGRADE_STATE_FAIL);
    EXPECT_THAT(file_bytes(DATABASE), IsEmpty());
    expect_next_upgrade_works();
}

TEST_F(Upgrade, InstalledVersionIsAnnouncedWheneverNoneRuns)
{
    const auto announced_after = [&](std::chrono::milliseconds time) {
        sent();
        clock.passes(time);
        std::vector<record_t> records = sent();
        std::erase_if(records, [](const record_t& record) { return record.id != 0xce; });
        for (record_t& record : records)
            record.seq = 0;
        return records;
    };
    const auto push = [](const bytes_t& version) {
        return record_t{UPGRADE, 0x0200, 0x03, 0xce, 0x0140, 0, version + zeros(4) + u32(1) + zeros(16)};
    };
    EXPECT_THAT(announced_after(499ms), IsEmpty());
    EXPECT_THAT(announced_after(1ms), ElementsAre(push(zeros(4))));
    for (const auto running : {UPGRADE_STATE_INIT, UPGRADE_STATE_START, UPGRADE_STATE_DATA, UPGRADE_STATE_END}) {
        upgrade_reaches(running);
        EXPECT_THAT(announced_after(1s), IsEmpty());
    }
    app.takes(database({0x101, 2, 3, 0xfff0}));
    upgrade_reaches(UPGRADE_STATE_SUCCESS);
    EXPECT_THAT(announced_after(1s), ElementsAre(push({0xf0, 3, 2, 1}), push({0xf0, 3, 2, 1})));
    upgrade_reaches(UPGRADE_STATE_FAIL);
    EXPECT_THAT(announced_after(500ms), ElementsAre(push(zeros(4))));
}
