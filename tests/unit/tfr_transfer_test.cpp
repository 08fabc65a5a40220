// The app sends a restriction file: replies byte by byte, what lies in the file, what is logged. Requests of any length
// and fragments in any order are told by the fault catalogue's model.
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

TEST_F(TfrTransfer, RefusalsSayWhy)
{
    EXPECT_EQ(asks({1, 0, 0}), bytes_t{7} + zeros(17)) << "half a fragment";
    EXPECT_EQ(asks(zeros(271)), bytes_t{7} + zeros(17)) << "more than any request has";
    EXPECT_EQ(asks({3}), bytes_t{5} + zeros(17)) << "no request";
    EXPECT_EQ(sends(7, 9999, size_t{0}), next(0)) << "nothing saved yet, so 0 is still expected";
    EXPECT_EQ(sends(3, 9999, 100), next(4)) << "the first may have any number";
    logged();
    EXPECT_EQ(sends(5, 1, 50), next(4, 1)) << "and what it announces does not count";
    EXPECT_EQ(logged(), texts_t{"data_transfer: ERROR: tfr update, packet sequence is not continue"});
    expect_state(TFR_UPDATE_STATE_TRANSFER, 100);
    EXPECT_EQ(sends(4, 120, 50), next(5)) << "the last total decides";
    expect_state(TFR_UPDATE_STATE_FINISH, 150);
    logged();
    EXPECT_EQ(sends(5, 9999, 10), next(5, 6)) << "until a start or number 0";
    EXPECT_EQ(logged(), texts_t{"data_transfer: ERROR: state error, now is TFR_UPDATE_STATE_FINISH"});
    expect_refused_finish(2, {"require_finish: ERROR: TFR_UPDATE_SAVED_DATA_TOO_MUCH, saved:150, total:120"});
    expect_refused_finish(6, {"require_finish: ERROR: state error, now is not TFR_UPDATE_STATE_FINISH"});
    EXPECT_EQ(sends(0, 16, 16), next(1));
    expect_refused_finish(8,
                          {"calculate_md5_from_tfr_file: file_size:[16] is too short",
                           "tfr_check_md5: calculate md5 from tfr file fail", "require_finish: ERROR: md5 check fail"});
    EXPECT_EQ(sends(65535, 9999, 1), next(0));
    EXPECT_EQ(sends(1, 9999, 1), next(0, 1)) << "nothing follows 65535";
    EXPECT_FALSE(check_seq_continue(0)) << "0 restarts, it does not follow";
    EXPECT_EQ(starts(), zeros(18)) << "aborts, without a uid";
    expect_state(TFR_UPDATE_STATE_IDLE, 1);
    expect_next_transfer_works();
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
        EXPECT_EQ(sends(3, 9999, 50), next(0, 4));
        EXPECT_EQ(logged(), RESET + unemptied + FRESH + STATE + unsaved);
        EXPECT_EQ(sends(5, 9999, 50), next(0, 4)) << "nothing is saved: any number may follow";
        EXPECT_EQ(logged(), unsaved);
        EXPECT_EQ(get_tfr_update_status(), TFR_UPDATE_STATE_TRANSFER);
        shell(mends);
        EXPECT_EQ(file_bytes(TFR).size(), left);
        expect_next_transfer_works();
    }
}

TEST_F(TfrTransfer, FullDiskTakesAPieceThatTheDigestFinds)
{
    shell("mount -t tmpfs -o size=4k tmpfs /tmp/EMMC");
    const bytes_t big = tfr_file(areas_t(200, {1, 2, 3}));
    uint32_t number = 0;
    const auto begin = [&] { return size_t{number} * 255; };
    const auto fragment = [&] { return sends(number, uint32_t(big.size()), part(big, begin(), begin() + 255)); };
    for (; number < 16; ++number)
        EXPECT_EQ(fragment(), next(number + 1));
    EXPECT_EQ(fragment(), next(16, 4)) << "a page holds 4096 bytes";
    EXPECT_EQ(get_tfr_saved_data_size(), 16u * 255);
    EXPECT_EQ(file_bytes(TFR).size(), 4096u) << "what was written stays, uncounted";
    shell("mount -o remount,size=64k /tmp/EMMC");
    for (; begin() < big.size(); ++number)
        EXPECT_EQ(fragment(), next(number + 1));
    EXPECT_EQ(finishes(), finished(8));
    expect_state(TFR_UPDATE_STATE_IDLE, 0);
}
