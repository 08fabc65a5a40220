// The app sends a restriction file: replies byte by byte, what lies in the file, what is logged, and what a sender or
// the disk can get wrong.
#include "nfz_tfr/tfr_module/src/tfr_module_update.h"
#include "tfr_aircraft.h"

static const texts_t RESET = {"tfr_update_event_reset: reset update event success"};
static const texts_t EMPTIED = {"tfr_delete_all_data: delete all data in tfr file success"};
static const texts_t STATE = {"set_tfr_update_status: set tfr state from %[d] to %[d]"};
static const texts_t FRESH = {"data_transfer: reset tfr update event and clear all data in file"};
static const texts_t DROPPED =
    RESET + EMPTIED + texts_t{"require_finish: tfr update fail, reset tfr update event and clear all data in file"} +
    STATE;
static const texts_t START_ASKED = {"require_start: tfr update app require_start"};
static const texts_t FINISH_ASKED = {"require_finish: tfr update app require_finish"};

// Replies, whole.
static bytes_t next(uint32_t number, uint8_t ack = 0)
{
    return bytes_t{ack, 1} + u16(number) + zeros(14);
}
static bytes_t finished(uint8_t ack)
{
    return bytes_t{ack, 2} + zeros(16);
}
static bytes_t refused(uint8_t ack)
{
    return bytes_t{ack} + zeros(17);
}

class TfrTransfer : public TfrAircraft {
protected:
    void expect_state(tfr_update_state_t state, size_t saved)
    {
        EXPECT_EQ(get_tfr_update_status(), state);
        EXPECT_EQ(file_bytes(TFR).size(), saved);
        EXPECT_EQ(get_tfr_saved_data_size(), saved);
    }
    void expect_refused_finish(uint8_t ack, const texts_t& texts)
    {
        logged();
        EXPECT_EQ(finishes(), finished(ack));
        EXPECT_EQ(logged(), FINISH_ASKED + texts + DROPPED);
        EXPECT_TRUE(exists(TFR));
        expect_state(TFR_UPDATE_STATE_IDLE, 0);
    }
    void expect_next_transfer_works()
    {
        EXPECT_EQ(sends_all(file), finished(0));
        EXPECT_EQ(file_bytes(TFR), file);
        expect_state(TFR_UPDATE_STATE_IDLE, file.size());
    }

    const bytes_t file = tfr_file({{1, 0, 0, 100}, {2, 5, 5, 0, 10}, {3, 9, 9, 7, 3}, {4, 0, 0, 1, 10}});
};

TEST_F(TfrTransfer, WholeTransferByteByByte)
{
    const auto total = static_cast<uint32_t>(file.size());
    const bytes_t md5 = part(file, total - 16, total);
    const std::string size = std::to_string(total), uid = "get_tfr_info_uid_by_read_file: ";
    EXPECT_EQ(starts(), zeros(18)) << "no file: no uid";
    const texts_t no_file = {uid + "ERROR: No such file or directory\n", uid + "get file size fail"};
    EXPECT_EQ(logged(), START_ASKED + no_file);
    EXPECT_EQ(sends(0, total, part(file, 0, 255)), next(1));
    EXPECT_EQ(logged(), RESET + EMPTIED + FRESH + STATE);
    expect_state(TFR_UPDATE_STATE_TRANSFER, 255);
    EXPECT_EQ(sends(1, total, part(file, 255, total)), next(2));
    const texts_t complete = {"check_tfr_update_can_finish: check finish true, because saved data " + size +
                              ", total data " + size};
    EXPECT_EQ(logged(), complete + STATE);
    expect_state(TFR_UPDATE_STATE_FINISH, total);
    EXPECT_EQ(finishes(), finished(0));
    char sizes[80];
    std::snprintf(sizes, sizeof sizes, "get tfr file size is 0x%x, need check data size 0x%x", total, total - 16);
    const std::string computes = "calculate_md5_from_tfr_file: ", reads = "get_tfr_md5_by_read_file: ";
    const texts_t begin = {computes + sizes, computes + "calculate the md5 code from the file\n"};
    const texts_t middle = {reads + "get tfr md5, read from the tail of the file"};
    EXPECT_EQ(logged(), FINISH_ASKED + begin + in_hex(computes, md5) + middle + in_hex(reads, md5) + STATE);
    expect_state(TFR_UPDATE_STATE_IDLE, total);
    EXPECT_EQ(get_tfr_packet_size(), total) << "only the state goes back";
    EXPECT_EQ(get_tfr_update_packet_seq_last(), 1);
    EXPECT_EQ(starts(), zeros(2) + uid_of(0xa0));
    EXPECT_EQ(logged(), START_ASKED + in_hex(uid + "uid[16]:", uid_of(0xa0)));
    EXPECT_EQ(file_bytes(TFR), file) << "a start never clears";
}

TEST_F(TfrTransfer, RequestsOfEveryLength)
{
    EXPECT_EQ(sends(0, 9999, 20), next(1));
    for (size_t length = 0; length <= 300; ++length) {
        SCOPED_TRACE(length);
        const size_t fitting = std::clamp<size_t>(length, 8, 263) - 8, before = file_bytes(TFR).size();
        const uint32_t number = get_next_expect_seq();
        const auto fragment = [&](size_t data_size) {
            const bytes_t head = bytes_t{1} + u16(number) + u32(999'999) + bytes_t{uint8_t(data_size)};
            return asks(part(head + zeros(292), 0, length));
        };
        if (fitting < 255) {
            EXPECT_EQ(fragment(fitting + 1), refused(7)) << "one byte less than it says";
        }
        const bool taken = length >= 8 && length <= 270;
        EXPECT_EQ(fragment(fitting), taken ? next(number + 1) : refused(7));
        expect_state(TFR_UPDATE_STATE_TRANSFER, before + (taken ? fitting : 0));
    }
    const size_t saved = get_tfr_saved_data_size();
    for (unsigned type = 3; type < 256; ++type)
        ASSERT_EQ(asks(bytes_t{uint8_t(type)} + zeros(type)), refused(5)) << type;
    for (const uint8_t type : bytes_t{0, 1, 2, 3})
        EXPECT_EQ(asks(bytes_t{type} + zeros(270)), refused(7)) << "271 bytes";
    EXPECT_EQ(asks(zeros(270)), zeros(18)) << "a start, which ends the transfer and leaves the file";
    EXPECT_EQ(asks({1, 0, 0, 255}), refused(7)) << "half a fragment in idle does not touch the stored file";
    expect_state(TFR_UPDATE_STATE_IDLE, saved);
    EXPECT_EQ(asks(bytes_t{2} + zeros(269)), finished(6)) << "a finish of any length up to 270";
}

TEST_F(TfrTransfer, OnlyTheSuccessorContinues)
{
    EXPECT_EQ(sends(3, 9999, 100), next(4)) << "the first may have any number";
    logged();
    for (const uint32_t number : {5u, 3u, 2u, 65535u}) {
        EXPECT_EQ(sends(number, 1, 50), next(4, 1)) << "and what it announces does not count";
        EXPECT_EQ(logged(), texts_t{"data_transfer: ERROR: tfr update, packet sequence is not continue"});
        expect_state(TFR_UPDATE_STATE_TRANSFER, 100);
    }
    EXPECT_EQ(sends(4, 9999, size_t{0}), next(5)) << "without data: a number all the same";
    EXPECT_EQ(sends(4, 9999, 10), next(5, 1));
    EXPECT_EQ(sends(5, 9999, 255), next(6));
    expect_state(TFR_UPDATE_STATE_TRANSFER, 355);
    logged();
    EXPECT_EQ(sends(0, 9999, 30), next(1)) << "0 always starts a fresh file";
    EXPECT_EQ(logged(), RESET + EMPTIED + FRESH + STATE);
    expect_state(TFR_UPDATE_STATE_TRANSFER, 30);

    EXPECT_EQ(starts(), zeros(18)) << "aborts, without a uid";
    EXPECT_EQ(logged(), START_ASKED + STATE);
    EXPECT_EQ(file_bytes(TFR).size(), 30u);
    EXPECT_EQ(sends(7, 9999, size_t{0}), next(0)) << "nothing saved yet, so 0 is still expected";
    EXPECT_EQ(sends(65534, 9999, 1), next(65535));
    EXPECT_EQ(sends(65535, 9999, 1), next(0));
    for (const uint32_t number : {1u, 65534u, 65535u})
        EXPECT_EQ(sends(number, 9999, 1), next(0, 1)) << "nothing follows 65535";
    EXPECT_FALSE(check_seq_continue(0)) << "0 restarts, it does not follow";
    expect_state(TFR_UPDATE_STATE_TRANSFER, 2);
    EXPECT_EQ(sends(0, 9999, 1), next(1));
    expect_state(TFR_UPDATE_STATE_TRANSFER, 1);
}

TEST_F(TfrTransfer, LastAnnouncedTotalDecides)
{
    EXPECT_EQ(sends(0, 20, 10), next(1));
    EXPECT_EQ(sends(1, 0xffffffff, 10), next(2));
    expect_state(TFR_UPDATE_STATE_TRANSFER, 20);
    EXPECT_EQ(sends(2, 25, 10), next(3));
    expect_state(TFR_UPDATE_STATE_FINISH, 30);
    logged();
    EXPECT_EQ(sends(3, 9999, 10), next(3, 6)) << "until a start or number 0";
    EXPECT_EQ(logged(), texts_t{"data_transfer: ERROR: state error, now is TFR_UPDATE_STATE_FINISH"});
    expect_refused_finish(2, {"require_finish: ERROR: TFR_UPDATE_SAVED_DATA_TOO_MUCH, saved:30, total:25"});

    for (const uint32_t data : {0u, 16u}) {  // a file too short for a digest, announced as it is
        EXPECT_EQ(sends(0, data, size_t{data}), next(data == 0 ? 0 : 1));
        expect_state(TFR_UPDATE_STATE_FINISH, data);
        expect_refused_finish(
            8, {"calculate_md5_from_tfr_file: file_size:[" + std::to_string(data) + "] is too short",
                "tfr_check_md5: calculate md5 from tfr file fail", "require_finish: ERROR: md5 check fail"});
    }
    EXPECT_EQ(sends(0, 10, 20), next(1));
    EXPECT_EQ(starts(), zeros(18)) << "back to idle, with the file as it is";
    expect_state(TFR_UPDATE_STATE_IDLE, 20);
    EXPECT_EQ(sends(0, 10, 20), next(1));
    EXPECT_EQ(sends(0, 30, 20), next(1)) << "number 0 starts over in FINISH, too";
    expect_state(TFR_UPDATE_STATE_TRANSFER, 20);
    expect_next_transfer_works();
}

TEST_F(TfrTransfer, FinishOutOfTurnOrOfAWrongFileEmptiesIt)
{
    const texts_t wrong_state = {"require_finish: ERROR: state error, now is not TFR_UPDATE_STATE_FINISH"};
    expect_refused_finish(6, wrong_state);
    expect_next_transfer_works();
    expect_refused_finish(6, wrong_state);  // the second finish
    EXPECT_EQ(sends(0, 9999, 200), next(1));
    expect_refused_finish(6, wrong_state);  // before all bytes came
    EXPECT_EQ(sends(1, 9999, 200), next(2)) << "idle: a fresh file, with any number";
    bytes_t wrong = file;
    wrong[file.size() / 2] ^= 0x10;
    EXPECT_EQ(sends_all(wrong), finished(8));
    expect_state(TFR_UPDATE_STATE_IDLE, 0);
    expect_next_transfer_works();
    EXPECT_EQ(sends(9, 9999, 1), next(10)) << "one stray fragment drops the stored file";
    expect_state(TFR_UPDATE_STATE_TRANSFER, 1);
}

TEST_F(TfrTransfer, DiskTroubleIsAnsweredAndTheFragmentComesAgain)
{
    shell("mount -t tmpfs tmpfs /tmp/EMMC");
    expect_next_transfer_works();
    const struct {
        const char* breaks;
        const char* mends;
        const char* reason;
        size_t left;  // bytes of the old file: emptying is refused as well
    } cases[] = {
        {"mount -o remount,ro /tmp/EMMC", "mount -o remount,rw /tmp/EMMC", "Read-only file system", file.size()},
        {"rm /tmp/EMMC/nfz_tfr.bin && mkdir /tmp/EMMC/nfz_tfr.bin", "rmdir /tmp/EMMC/nfz_tfr.bin", "Is a directory", 0},
        {"umount /tmp/EMMC && rmdir /tmp/EMMC", "mkdir /tmp/EMMC", "No such file or directory", 0},
    };
    for (const auto& [breaks, mends, reason, left] : cases) {
        SCOPED_TRACE(breaks);
        const std::string error = std::string("ERROR: ") + reason + "\n";
        const texts_t unsaved = {"save_data: " + error, "save_data: error, file not exist, when save data",
                                 "data_transfer: ERROR: tfr update save data faile"};
        const texts_t unemptied = {"tfr_delete_all_data: " + error,
                                   "tfr_delete_all_data: error: open tfr file to clear it failed"};
        shell(breaks);
        logged();
        for (const uint32_t number : {3u, 0u}) {
            EXPECT_EQ(sends(number, 9999, 50), next(0, 4));
            EXPECT_EQ(logged(), RESET + unemptied + FRESH + STATE + unsaved);
            EXPECT_EQ(sends(number + 1, 9999, 50), next(0, 4)) << "nothing is saved: any number may follow";
            EXPECT_EQ(logged(), unsaved);
            EXPECT_EQ(get_tfr_update_status(), TFR_UPDATE_STATE_TRANSFER);
            starts();
            logged();
        }
        shell(mends);
        EXPECT_EQ(file_bytes(TFR).size(), left);
        expect_next_transfer_works();
    }
}

TEST_F(TfrTransfer, FullDiskTakesAPieceThatTheDigestFinds)
{
    shell("mount -t tmpfs -o size=4k tmpfs /tmp/EMMC");
    const bytes_t big = tfr_file(areas_t(400, {1, 2, 3}));
    const auto total = static_cast<uint32_t>(big.size());
    const auto fragment = [&](uint32_t number) {
        return sends(number, total, part(big, number * 255, number * 255 + 255));
    };
    uint32_t number = 0;
    while (fragment(number) == next(number + 1) && number < 40)
        ++number;
    EXPECT_EQ(number, 16u) << "a page holds 4096 bytes";
    EXPECT_EQ(fragment(number), next(number, 4));
    EXPECT_EQ(logged().back(), "data_transfer: ERROR: tfr update save data faile");
    EXPECT_EQ(get_tfr_saved_data_size(), number * 255);
    EXPECT_EQ(file_bytes(TFR).size(), 4096u) << "what was written stays, uncounted";
    shell("mount -o remount,size=64k /tmp/EMMC");
    for (; number * 255 < total; ++number)
        EXPECT_EQ(fragment(number), next(number + 1));
    EXPECT_EQ(finishes(), finished(8));
    expect_state(TFR_UPDATE_STATE_IDLE, 0);
    expect_next_transfer_works();
}
