// The module's messages byte by byte, the switch command, and the log file.
#include <filesystem>
#include <fstream>
#include <limits>

#include "afqt/include/afqt.h"
#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_motion_cfg.h"
#include "afqt/include/afqt_send.h"
#include "afqt_stand.h"

using testing::SizeIs;

class AfqtMessages : public AfqtStand {
protected:
    AfqtMessages()
    {
        during([] { afqt_debug_init(); });
    }
    // What the call before has sent, in full.
    void expect_sent(uint16_t to, uint8_t set, uint8_t id, const bytes_t& payload, uint8_t result)
    {
        const std::vector<record_t> records = sent();
        ASSERT_THAT(records, SizeIs(1));
        EXPECT_EQ(records[0], (record_t{FLIGHT, to, set, id, 0x0100, records[0].seq, payload}));
        EXPECT_EQ(result, 0);
    }
    void expect_to_fc(uint8_t id, const bytes_t& payload, uint8_t result)
    {
        expect_sent(0x0306, 0x03, id, payload, result);
    }
};

TEST_F(AfqtMessages, HaveTheirBytes)
{
    expect_to_fc(0x8e, bytes_t{0x4b} + f32(1) + f32(2) + f32(4) + f32(3),  // the last two cross
                 send_ctrl_data_packed(1, 0, 1, 1, 1, 1, 2, 3, 4));
    expect_to_fc(0x8e, bytes_t{0xe4} + zeros(16), send_ctrl_data_packed(3, 2, 0, 2, 0, 0, 0, 0, 0));
    expect_to_fc(0x8e, bytes_t{0x55} + zeros(16),  // each argument keeps to its bits
                 send_ctrl_data_packed(5, 5, 4, 6, 3, 0, 0, 0, 0));

    const float sticks[] = {1, 2, 3, 4}, vel[] = {5, 6}, acc[] = {7, 8}, vert[] = {9, -10};
    bytes_t pro = {0x9b, 0x34, 0x02};
    for (const float value : {1.f, 2.f, 3.f, 4.f, 5.f, 6.f, 7.f, 8.f, 9.f, -10.f})
        pro = pro + f32(value);
    expect_to_fc(0x8e, pro, send_pro_ctrl_data_packed(0x9b, 0x234, sticks, vel, acc, vert));
    for (int missing = 0; missing < 4; ++missing) {
        EXPECT_EQ(send_pro_ctrl_data_packed(0, 0, missing == 0 ? nullptr : sticks, missing == 1 ? nullptr : vel,
                                            missing == 2 ? nullptr : acc, missing == 3 ? nullptr : vert),
                  1);
    }
    EXPECT_THAT(sent(), IsEmpty());

    expect_sent(0x0306, 0x22, 0x49, {2, 3, 1, 15, 0, 0x2c, 1, 25, 0, 60, 0xb2},  // loop 18, method 1, point 1
                send_sweep_req_msg(1, 1.5f, 30, 2.5f, 60, 1, 18, 1));
    expect_sent(0x0306, 0x22, 0x49, {2, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0x41},  // 33, 6, 2: masked
                send_sweep_req_msg(0, 0, 0, 0, 0, 2, 33, 6));
    expect_to_fc(0x80, {2, 2}, send_req_api_mode(2));
    expect_to_fc(0x2a, {14}, send_basic_cmd(14));
    uint16_t byte = 0xffff;
    EXPECT_EQ(pack_ctrl_pro_ctrl_byte(&byte, 2, 1, 1, 0, 3, 0, 2), 0);
    EXPECT_EQ(byte, 0x04d6);
    pack_ctrl_pro_ctrl_byte(&byte, 5, 4, 2, 3, 4, 3, 7);
    EXPECT_EQ(byte, 0x0721) << "masked, the reserved bits zero";
}

TEST_F(AfqtMessages, SweepFieldsAreCutAndScaled)
{
    const auto sweep = [&](float start, float end, float amp, float time) {  // bytes 3 to 9
        send_sweep_req_msg(1, start, end, amp, time, 0, 0, 0);
        return part(sent().at(0).payload, 3, 10);
    };
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    EXPECT_EQ(sweep(0.55f, 0, -1, 12.9f), (bytes_t{5, 0, 0, 0, 0, 0, 12}));
    EXPECT_EQ(sweep(2.3f, 7000, 0.04f, 300), (bytes_t{23, 0, 0x70, 0x11, 0, 0, 44}))
        << "the product in single precision";
    EXPECT_EQ(sweep(nan, -inf, nan, nan), zeros(7));
    EXPECT_EQ(sweep(-1e30f, -0.0f, -0.01f, -5), zeros(7));
    EXPECT_EQ(sweep(1e30f, inf, 1e9f, inf), (bytes_t(7, 0xff)));
}

TEST_F(AfqtMessages, HeartbeatAtEveryFiftiethCallAndNotice)
{
    for (int round = 0; round < 2; ++round) {
        for (uint8_t i = 1; i < 50; ++i)
            send_afqt_heart_beat(i, 1, 1, 1, 1);
        EXPECT_THAT(sent(), IsEmpty());
        EXPECT_EQ(send_afqt_heart_beat(3, 12, 2, 200, 17), 0);
        EXPECT_THAT(told(true), ElementsAre("1103 22/49: 01 03 0c 02 c8 11", "0306 22/49: 01 03 0c 02 c8 11"));
    }
    const std::string out = during([&] { expect_sent(STATION, 0x22, 0x48, {3, 4, 5}, send_afqt_msg(3, 4, 5)); });
    EXPECT_EQ(out, "[afqt]to[autotset] 0.000000\r\n");
    EXPECT_THAT(logged(), ElementsAre("send_afqt_msg: [afqt]to[autotset] 0.000000\r\n"));
}

TEST_F(AfqtMessages, QueriesWaitAndLeaveTheOutputWhenNothingComes)
{
    char text[16] = "untouched";
    int8_t type = -7;
    uint8_t sn[16] = {1, 2};
    EXPECT_EQ(send_get_version(text), -10001);
    EXPECT_EQ(send_get_drone_type(&type), -10001);
    EXPECT_EQ(send_get_drone_sn(sn), -10001);
    EXPECT_EQ(bus.sync_timeout_us, 5000u);
    EXPECT_THAT(told(), ElementsAre("0306 00/01: ", "0306 03/fd: ", "0306 03/74: "));
    bus.results.send_sync = 0;  // an answer, but an empty one
    EXPECT_NE(send_get_drone_type(&type), 0);
    EXPECT_STREQ(text, "untouched");
    EXPECT_EQ(type, -7);
    EXPECT_EQ(bytes_t(sn, sn + 16), (bytes_t{1, 2} + zeros(14)));

    bus.sync_reply = zeros(31);
    EXPECT_EQ(send_get_version(text) | send_get_drone_type(&type) | send_get_drone_sn(sn), 0);
    EXPECT_EQ(afqt_msg_ack(nullptr, nullptr, 0), 0u);
    EXPECT_EQ(during([] { EXPECT_EQ(send_req_api_mode_ack(nullptr, nullptr, 0), 0u); }), " get fc mode ack \r\n");
}

TEST_F(AfqtMessages, SwitchTakesOnAndOffAndNothingElse)
{
    const auto asks = [&](const bytes_t& payload) {
        bus.replies.clear();
        EXPECT_TRUE(bus.delivers({STATION, FLIGHT, 0x22, 0x48, WANTS_REPLY, 7, payload}));
        for (const record_t& reply : bus.replies)
            EXPECT_THAT(reply.payload, IsEmpty());
        return logged();
    };
    EXPECT_THAT(asks({2, 9, 4}),
                ElementsAre("afqt_on_off_cmd: [afqt]afqt_switch 2 \r\n", "afqt_on_off_cmd:  get afqt start cmd: 2 \r\n",
                            "afqt_on_off_cmd:  set_motion_cfg_file_index: 4 \r\n",
                            "afqt_on_off_cmd: set_send_heart_flag: 2 r\n"));
    EXPECT_EQ(get_motion_cfg_file_index(), 4);
    asks({1, 0, 6, 99, 99});
    EXPECT_EQ(get_motion_cfg_file_index(), 6) << "what stands behind does not matter";
    for (const bytes_t& payload : {bytes_t{3, 0, 8}, bytes_t{0, 0, 9}, bytes_t{}})
        EXPECT_THAT(asks(payload), SizeIs(1));
    EXPECT_EQ(get_motion_cfg_file_index(), 6);
    for (const bytes_t& payload : {bytes_t{1}, bytes_t{2, 5}}) {  // what is missing counts as zero
        set_motion_cfg_file_index(6);
        EXPECT_THAT(asks(payload), SizeIs(4));
        EXPECT_EQ(get_motion_cfg_file_index(), 0);
    }
}

class AfqtLog : public AfqtStand {
protected:
    std::string restarts()  // and opens its next log
    {
        return during([] { afqt_debug_init(); });
    }
    static void flushes()
    {
        for (int i = 0; i < 100; ++i)
            afqt_debug_tick_handle();
    }
    const std::string index_file = std::string(AFQT_LOGS) + "/log_index.txt";
};

TEST_F(AfqtLog, IndexStepsFromStartToStart)
{
    EXPECT_EQ(restarts(),
              "creat afqt directory successfully!\r\nafqt log file index starts from 0\r\nafqt_log_init success\r\n");
    EXPECT_EQ(text_at(index_file), "0 ");
    _afqt_log("f", "first");
    EXPECT_EQ(restarts(),
              "afqt directory has existed!\r\nset next afqt log file index success\r\nafqt_log_init success\r\n");
    EXPECT_EQ(text_at(index_file), "1 ") << "the second start still reads what the first one made";
    EXPECT_EQ(text_at(log_name), "") << "and begins its file anew";
    const struct {
        const char* before;
        const char* after;
        const char* name;
    } steps[] = {{"9 ", "10 ", "9"}, {"10 ", "11 ", "1"}, {"2147483647 ", "0 ", "2"},
                 {"xyz", "1 ", "0"}, {"", "1 ", "0"},     {" 42", "43 ", "4"}};
    for (const auto& [before, after, name] : steps) {
        std::ofstream(index_file) << before;
        restarts();
        EXPECT_EQ(text_at(index_file), after) << before;
        _afqt_log("f", "from %s!", before);
        flushes();
        EXPECT_THAT(text_at(std::string(AFQT_LOGS) + "/afqt_log_qx520_" + name),
                    testing::EndsWith(std::string("from ") + before + "!"));
    }
}

TEST_F(AfqtLog, PrefixCutAndFlush)
{
    restarts();
    clock.jumps(1234567ms);
    _afqt_log("who", "%d\r\n", 5);
    afqt_printf("plain %s", "text");
    for (int i = 0; i < 99; ++i)
        afqt_debug_tick_handle();
    EXPECT_EQ(text_at(log_name), "");
    afqt_debug_tick_handle();
    EXPECT_EQ(text_at(log_name), "[1234.567][who]5\r\nplain text");
    _afqt_log("f", "%s", std::string(3000, 'x').c_str());
    afqt_printf("%s", std::string(3000, 'y').c_str());
    flushes();
    EXPECT_EQ(text_at(log_name),
              "[1234.567][who]5\r\nplain text[1234.567][f]" + std::string(2047, 'x') + std::string(2047, 'y'));
    clock.jumps(16'000'000ms);  // single precision is coarse by now: 17234567 is an odd number of milliseconds
    _afqt_log("f", "late");
    flushes();
    EXPECT_THAT(text_at(log_name), HasSubstr("[17234.568][f]late"));
}

TEST_F(AfqtLog, WithoutADirectoryThereIsNoLog)
{
    std::filesystem::remove_all("/tmp/blackbox");
    EXPECT_EQ(restarts(),
              "creat afqt directory failed!!!\r\ncreat afqt directory successfully!\r\n"
              "afqt_log_init_idnex fail, cannot log data\r\nafqt_log_init failed\r\n");
    _afqt_log("f", "dropped");
    afqt_printf("dropped");
    flushes();
}

TEST_F(AfqtLog, StartTellsItsVersionAndMissesItsTimer)
{
    clock.creation_result = -1;
    int32_t result = 0;
    during([&] { result = afqt_init(); });
    EXPECT_EQ(result, -10001);
    const texts_t lines = logged();
    EXPECT_EQ(lines.front(), "afqt_init: [init]<AFQT Ver>: 0.1 \r\n");
    EXPECT_THAT(texts_t(lines.end() - 3, lines.end()),
                ElementsAre("afqt_init: [init] init done \r\n", "afqt_init: [init]fail to create AFQT timer\r\n",
                            "afqt_init: [init]sucess to create AFQT timer\r\n"));
    clock.creation_result = 0;
    during([&] { result = afqt_init(); });
    EXPECT_EQ(result, 0);
    EXPECT_THAT(text_of(*clock.timers.back()), HasSubstr("AFQT_TIMER: 20000 us"));
}
