// Both event clients, which differ in names and texts only: creation, dispatch, sending.
#include "aircraft.h"
#include "flight_v1/flight_v1.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_flight_v1.h"

using testing::Each;

using send_t = flight_result_t (*)(uint8_t set, uint8_t id, uint16_t device, const char* data, uint32_t length);
using ack_t = int (*)(flight_v1_pack_t* pack, const char* data, size_t len);

struct client_t {
    const char* endpoint;
    uint16_t host;
    uint32_t flags;
    const char* text_prefix;
    const char* tag_prefix;
    const char* route_failed;
    flight_result_t (*init)();
    int (*add_table)(const flight_map_table_t* table, uint32_t size);
    flight_handle_t (*get_handle)(uint8_t set, uint8_t id);
    void (*unpack)(const kest_event_t* event, flight_v1_pack_t* pack);
    kest_event_cb_t callback;
    ack_t ack, ack_without_retcode;
    send_t send, send_need_ack;  // the second one may be null
};
static void PrintTo(const client_t& client, std::ostream* out)
{
    *out << client.endpoint;
}

static const client_t CLIENTS[] = {
    {"flight_srv_fmu", FLIGHT, 0, "", "", "Create fc_fmu route table fail! result=0xfffffffe\n", flight_v1_init,
     flight_add_cmd_map_table, get_handle, kest_event2flight_pack, req_cb, flight_v1_ack, flight_v1_ack_whitout_retcode,
     flight_v1_send, nullptr},
    {"flight_nfz_upgrade", UPGRADE, 1, "upgrade ", "upgrade_",
     "upgrade create fc_fmu route table fail! result=0xfffffffe\n", upgrade_flight_v1_init,
     upgrade_flight_add_cmd_map_table, upgrade_get_handle, upgrade_kest_event2flight_pack, upgrade_req_cb,
     upgrade_flight_v1_ack, upgrade_flight_v1_ack_whitout_retcode, upgrade_flight_v1_send,
     upgrade_flight_v1_send_need_ack},
};

class Link : public Aircraft, public testing::WithParamInterface<client_t> {
protected:
    const client_t& client = GetParam();
    const std::string prefix = client.text_prefix;
    // Of functions that both clients have; the upgrade client alone logs its success.
    std::string tag(const char* function) const { return std::string(client.tag_prefix) + function; }
    const texts_t route_made =
        texts_t(prefix.empty() ? 0 : 1, "upgrade create fc_fmu route table success! result=0x00 5\n");
};
INSTANTIATE_TEST_SUITE_P(Client, Link, testing::ValuesIn(CLIENTS), testing::PrintToStringParamName());

TEST_P(Link, CreationGivesEverySetTheOneTableOfDescriptors)
{
    EXPECT_EQ(client.init(), 0);
    EXPECT_THAT(bus.calls, ElementsAre(std::string("create_route_table /usr/local/tarn/vela.json flight_service ") +
                                           client.endpoint,
                                       "create_client", "start_client", "destroy_route_table"));
    const kest_event_client& made = *bus.client(client.host);
    EXPECT_THAT(made.counts, Each(255u));
    EXPECT_THAT(made.tables, Each(made.tables[0]));
    EXPECT_EQ(made.userdata, nullptr);
    for (size_t id = 0; id < 255; ++id) {
        const kest_event_cmd_desc_t& descriptor = made.tables[0][id];
        EXPECT_TRUE(descriptor.request_cb == client.callback && descriptor.reply_cb == client.callback) << id;
        EXPECT_EQ(descriptor.flags, client.flags) << id;
    }
    char object[64];
    std::snprintf(object, sizeof object, "upgrade create event success obj:0x%04x\n",
                  static_cast<unsigned>(reinterpret_cast<uintptr_t>(&made)));
    EXPECT_EQ(log.texts(tag("flight_event_init")), route_made + texts_t(route_made.size(), object));
}

TEST_P(Link, OnlyAMissingRouteIsReportedAsAFailure)
{
    bus.results.create_route_table = -2;
    EXPECT_EQ(client.init(), -10001);
    EXPECT_THAT(log.texts(tag("flight_event_init")), ElementsAre(client.route_failed));
    for (const std::string call : {"create", "start"}) {
        bus.results = {};
        (call == "create" ? bus.results.create_client : bus.results.start_client) = -98;
        EXPECT_EQ(client.init(), 0);
        const texts_t failed = {prefix + "fc_fmu kest_event_" + call + "_client() error: -98\n",
                                prefix + "create event fail!\n"};
        EXPECT_EQ(log.texts(tag("flight_event_init")), route_made + failed);
        EXPECT_EQ(bus.calls.back(), "destroy_route_table");
    }
}

// What the last handler saw, and what it answers.
static flight_v1_pack_t s_pack;
static bytes_t s_payload;
static bytes_t s_answer;
static int s_handled;

static size_t handler(flight_v1_pack_t* pack, char* ack, size_t room)
{
    ++s_handled;
    s_pack = *pack;
    s_payload.assign(pack->p_data, pack->p_data + pack->data_len);
    EXPECT_EQ(pack->p_data, pack->event->msg_buf) << "the payload is not copied";
    EXPECT_EQ(room, 1024u);
    EXPECT_EQ(std::count(ack, ack + 1024, 0), 1024);
    std::copy(s_answer.begin(), s_answer.end(), ack);
    return s_answer.size();
}
static size_t other_handler(flight_v1_pack_t*, char*, size_t)
{
    return 0;
}
// sender, receiver, set, id, sequence, length, encryption, need-ack, is-reply
static std::vector<int> fields(const flight_v1_pack_t& pack)
{
    return {pack.sender,   pack.receiver, pack.cmd_set,  pack.cmd_id,     pack.seq_num,
            pack.data_len, pack.enc_type, pack.need_ack, pack.is_ack_pack};
}

TEST_P(Link, HandlerSeesTheUnpackedRecord)
{
    const flight_map_table_t rows[] = {{0x12, 0xfe, handler}};
    client.init();
    EXPECT_EQ(client.add_table(rows, 1), 0);
    s_answer = {1, 2, 3};
    ASSERT_TRUE(bus.delivers({0x0306, client.host, 0x12, 0xfe, 0x004a, 0xbeef, {9, 8, 7}}));
    EXPECT_THAT(fields(s_pack), ElementsAre(0x0306, 0x1105, 0x12, 0xfe, 0xbeef, 3, 10, 2, 0));
    EXPECT_EQ(s_payload, (bytes_t{9, 8, 7}));
    EXPECT_THAT(bus.replies, ElementsAre(record_t{client.host, 0x0306, 0x12, 0xfe, 0x004a, 0xbeef, {1, 2, 3}}));

    kest_event_t event = {};
    event.msg_id = 0xaabbccdd;
    event.attrib = 0xffff;
    event.msg_len = 1008;
    flight_v1_pack_t pack = {};
    client.unpack(&event, &pack);
    EXPECT_THAT(fields(pack), ElementsAre(0, 0x1105, 0xbb, 0xdd, 0, 1008, 15, 3, 1));
    for (const uint32_t lie : {1009u, 65535u, 0x10005u, 0xffffffffu}) {
        event.msg_len = lie;
        client.unpack(&event, &pack);
        EXPECT_LE(pack.data_len, 1008) << "no handler may read behind the record";
    }
    EXPECT_EQ(client.ack(&pack, "ab", 2), 0);
    EXPECT_EQ(bus.replies.back().payload, (bytes_t{0, 'a', 'b'}));
    pack.event = nullptr;
    EXPECT_EQ(client.ack_without_retcode(&pack, "ab", 2), 0);
    EXPECT_EQ(bus.replies.size(), 2u) << "no record to reply to";
}

TEST_P(Link, RepliesGoOutOnlyWhenWantedAndThere)
{
    const flight_map_table_t rows[] = {{1, 1, handler}};
    client.init();
    client.add_table(rows, 1);
    const struct {
        bytes_t answer;
        uint8_t id;
        bytes_t reply;  // what goes out when it is wanted
    } cases[] = {{{0, 5}, 1, {0, 5}}, {bytes_t(1008, 4), 1, bytes_t(1008, 4)}, {{}, 1, {}}, {{0}, 2, {0xe0}}};
    for (const auto& [answer, id, reply] : cases) {
        s_answer = answer;
        for (int attrib = 0; attrib < 0x100; attrib += 0x20) {  // need-ack 0 to 3, a request and a reply of each
            s_handled = 0;
            const bool wanted = (attrib & 0x60) != 0;
            EXPECT_EQ(app.asks(client.host, 1, id, {}, static_cast<uint16_t>(attrib)), wanted ? reply : bytes_t{});
            EXPECT_EQ(s_handled, id == 1 ? 1 : 0) << "a reply is handled like a request";
        }
    }
    bus.results.send = -11;
    EXPECT_TRUE(bus.delivers({0x0306, client.host, 1, 1, WANTS_REPLY, 1, {}})) << "a refused reply is no failure";
}

TEST_P(Link, LastMatchingRowWinsAndASecondTableReplacesTheFirst)
{
    const flight_map_table_t rows[] = {{1, 1, handler}, {1, 2, handler}, {1, 1, other_handler}, {2, 1, handler}};
    const flight_map_table_t others[] = {{7, 7, handler}};
    client.init();
    EXPECT_EQ(app.asks(client.host, 1, 1, {}), bytes_t{0xe0}) << "no table yet";
    client.add_table(rows, 4);
    EXPECT_EQ(client.get_handle(1, 1), other_handler);
    EXPECT_EQ(client.get_handle(1, 2), handler);
    EXPECT_EQ(client.get_handle(2, 2), nullptr);
    client.add_table(others, 1);
    EXPECT_EQ(client.get_handle(7, 7), handler);
    EXPECT_EQ(client.get_handle(1, 1), nullptr);
}

TEST_P(Link, SendsHandOverTheRecordAndShareOneSequence)
{
    client.init();
    const std::string payload(1009, 'x');
    uint16_t seq = 0;
    for (const send_t call : {client.send, client.send_need_ack}) {
        if (call == nullptr) continue;
        const bool need_ack = call == client.send_need_ack;
        for (const uint32_t length : {0u, 1008u}) {
            EXPECT_EQ(call(0x22, 0xfe, 0x1203, payload.data(), length), 0);
            EXPECT_THAT(sent(),
                        ElementsAre(record_t{client.host, 0x1203, 0x22, 0xfe, uint16_t(need_ack ? 0x0140 : 0x0100),
                                             seq++, bytes_t(length, 'x')}));
        }
        EXPECT_EQ(call(0x22, 0xfe, 0x1203, payload.data(), 1009), -22);
        EXPECT_THAT(sent(), IsEmpty());
        bus.results.send = -111;
        EXPECT_EQ(call(0x03, 0xea, 0x0306, "x", 1), 0) << "callers cannot see a refusal";
        EXPECT_EQ(sent().at(0).seq, seq++);
        EXPECT_THAT(log.texts(tag(need_ack ? "flight_v1_send_need_ack" : "flight_v1_send")),
                    ElementsAre(prefix + "too big payload for V1 command: 1009 bytes\n",
                                prefix + "kest_event_send() err:-111 |set:0x03|id:0xea|rec:0x03 \n"));
        bus.results.send = 0;
    }
    for (int i = seq; i <= 0x10000; ++i)
        client.send(1, 1, 1, nullptr, 0);
    EXPECT_EQ(sent().back().seq, 0) << "it wraps";
}

class WaitingSend : public Aircraft {
protected:
    WaitingSend() { flight_v1_init(); }
    flight_result_t asks() { return flight_v1_send_sync(0x03, 0x21, 0x0306, "q", 1, 5000, ack.data(), &ack_size); }

    std::string ack = std::string(1100, '#');
    size_t ack_size = 4711;
};

TEST_F(WaitingSend, CopiesTheReplyAndItsLength)
{
    bus.results.send_sync = 0;
    for (const size_t length : {0u, 1u, 8u, 1008u}) {
        bus.sync_reply = bytes_t(length, '.');
        EXPECT_EQ(asks(), 0);
        EXPECT_EQ(ack_size, length);
        EXPECT_EQ(ack, std::string(length, '.') + std::string(1100 - length, '#'));
    }
    bus.sync_reply_len = 5000;  // claims more than a record can hold
    asks();
    EXPECT_LE(ack_size, 1008u);
    EXPECT_EQ(ack.substr(1008), std::string(92, '#'));
    EXPECT_EQ(bus.sent[0], (record_t{FLIGHT, 0x0306, 0x03, 0x21, 0x0040, 0, {'q'}}));
    EXPECT_EQ(bus.sync_timeout_us, 5000u);
    flight_v1_send(1, 1, 1, nullptr, 0);
    EXPECT_EQ(bus.sent.back().seq, 5) << "both sends count the same sequence";
    bus.sync_reply = {'!'};
    EXPECT_EQ(flight_v1_send_sync(3, 1, 0x0306, "q", 1, 5000, ack.data(), nullptr), 0);
    EXPECT_EQ(ack[0], '.') << "copied only when both are given";
}

TEST_F(WaitingSend, WithoutAReplyTheSizeIsZero)
{
    EXPECT_EQ(asks(), -10001);
    EXPECT_EQ(ack_size, 0u);
    EXPECT_THAT(log.texts("flight_v1_send_sync"),
                ElementsAre("kest_event_send() err:-110 |set:0x03|id:0x21|rec:0x03 "));
    EXPECT_EQ(flight_v1_send_sync(3, 1, 0x0306, "q", 1, 5000, nullptr, nullptr), -10001);
    sent();
    log.texts();
    EXPECT_EQ(flight_v1_send_sync(3, 1, 0x0306, ack.data(), 1009, 5000, ack.data(), &ack_size), -22);
    EXPECT_THAT(log.texts("flight_v1_send_sync"), ElementsAre("too big payload for V1 command: 1009 bytes\n"));
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_EQ(ack, std::string(1100, '#'));
}
