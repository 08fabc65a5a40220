// Who gets in, what an authenticated peer can do with wrong messages, and what the configuration does not allow.
#include <sys/stat.h>

#include <csignal>
#include <random>

#include <zmq.hpp>

#include "link_message.h"
#include "machines.h"

using router::link_head_t;
using testing::HasSubstr;
using testing::StartsWith;

class Strangers : public Machines {
protected:
    void expect_no_link() const
    {
        EXPECT_EQ(ground->events("link_up").size() + aircraft->events("link_up").size(), 0u);
    }
};

TEST_F(Strangers, AnotherKeyGetsNothingAndBothEndsSaySo)
{
    ASSERT_EQ(run(TARN_ROUTER " keys -o /tmp/stranger").code, 0);
    aircraft->config["key"] = "/tmp/stranger.key";
    ground->start();
    aircraft->start();
    EXPECT_TRUE(
        within(5s, [&] { return !ground->events("stranger").empty() && !aircraft->events("not_admitted").empty(); }))
        << ground->program().output() << aircraft->program().output();
    EXPECT_EQ(ground->events("stranger")[0]["key"], first_line("/tmp/stranger.pub"));
    EXPECT_TRUE(within(10s, [&] { return ground->strangers() > 1; })) << "it comes again";
    EXPECT_EQ(ground->events("stranger").size(), 1u);
    expect_no_link();
    EXPECT_FALSE(ground->has(HOST_FLIGHT_SERVICE));

    aircraft->config["key"] = aircraft->key_file();
    aircraft->start();
    EXPECT_TRUE(within(5s, [&] { return are_up(); })) << "the right one is let in";
}

TEST_F(Strangers, AnEndThatIsNotTheOneThatWasMeantGetsNothing)
{
    ASSERT_EQ(run(TARN_ROUTER " keys -o /tmp/other").code, 0);
    aircraft->config["links"]["ground"]["peer_key"] = first_line("/tmp/other.pub");
    ground->start();
    aircraft->start();
    EXPECT_TRUE(within(5s, [&] { return !aircraft->events("no_handshake").empty(); })) << aircraft->program().output();
    expect_no_link();
}

// Keys that are known, and every kind of wrong message.
class WrongMessages : public Strangers {
protected:
    WrongMessages()
    {
        ground->config["bind"] = "ipc:///tmp/port";
        ground->start();
        socket_.set(zmq::sockopt::linger, 0);
        socket_.set(zmq::sockopt::curve_serverkey, ground->public_key());
        socket_.set(zmq::sockopt::curve_publickey, aircraft->public_key());
        socket_.set(zmq::sockopt::curve_secretkey, first_line(aircraft->key_file()));
        socket_.connect("ipc:///tmp/port");
        socket_.set(zmq::sockopt::rcvtimeo, 5000);

        // Up to the point where the ground takes our records.
        router::link_hello_t hello = {{router::LINK_VERSION, 1, 0, 0, 0}, 7};
        for (int exchange = 0; exchange < 2; ++exchange) {
            socket_.send(zmq::buffer(&hello, sizeof hello), zmq::send_flags::none);
            router::link_hello_t heard = {};
            EXPECT_TRUE(socket_.recv(zmq::mutable_buffer(&heard, sizeof heard)));
            hello.head.session = session_ = heard.session;
        }
        EXPECT_TRUE(within(3s, [&] { return ground->is_up(); })) << ground->program().output();
    }

    void says(const bytes_t& message, zmq::send_flags flags = zmq::send_flags::none)
    {
        socket_.send(zmq::buffer(message), flags);
    }
    // A record of 8 bytes to the ground's station, with a length that may be a lie.
    bytes_t record(uint32_t msg_len = 8, size_t payload = 8, link_head_t head = GOOD) const
    {
        if (head.session == 0) head.session = session_;
        kest_event_t event = {0x20u << 16 | 5, 0, ATTRIB_SEND, 1, 0, msg_len, {}};
        bytes_t message(sizeof head + KEST_EVENT_HEAD_SIZE + payload);
        std::memcpy(message.data(), &head, sizeof head);
        std::memcpy(message.data() + sizeof head, &event, std::min(sizeof event, message.size() - sizeof head));
        return message;
    }
    static constexpr link_head_t GOOD = {router::LINK_VERSION, 0, HOST_FLIGHT_SERVICE, HOST_FACTORY_STATION, 0};

    zmq::context_t context_;
    zmq::socket_t socket_{context_, zmq::socket_type::dealer};
    uint32_t session_ = 0;  // the ground's
};

TEST_F(WrongMessages, AreCountedByReasonAndTheRightOnesStillArrive)
{
    std::atomic<int> received = 0;
    auto station = ground->endpoint("factory", "station");
    station->on_request(0x20, 0x05, [&](const kest_event_t&) { ++received; });
    station->start();

    bytes_t cut = record();
    cut.resize(sizeof(link_head_t) + KEST_EVENT_HEAD_SIZE - 1);
    const std::vector<bytes_t> bad_lengths = {
        {},
        {1},
        {1, 0, 5, 0x11, 3},
        bytes_t(9, 1),
        bytes_t(13, 1),
        bytes_t(15, 1),
        {1, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0},
        cut,
        record(9),
        record(7),
        record(0xffffffff),
        record(1009, 1009),
        record(0, 2000),  //
    };
    for (const bytes_t& message : bad_lengths)
        says(message);
    says(record(8, 8, {2, 0, HOST_FLIGHT_SERVICE, HOST_FACTORY_STATION, 0}));
    says(record(8, 8, {1, 3, HOST_FLIGHT_SERVICE, HOST_FACTORY_STATION, 0}));
    says(record(8, 8, {1, 0, HOST_FLIGHT_CONTROLLER, HOST_FACTORY_STATION, 0}));
    says(record(8, 8, {1, 0, HOST_FLIGHT_SERVICE, 0x4444, 0}));
    says(record(8, 8, {1, 0, HOST_FLIGHT_SERVICE, HOST_FACTORY_STATION, session_ + 1}));
    says(record(), zmq::send_flags::sndmore);
    says(record());
    EXPECT_EQ(received, 0);
    says(record());
    EXPECT_TRUE(within(3s, [&] { return received == 1; })) << ground->program().output();
    EXPECT_EQ(ground->count("bad_length"), bad_lengths.size());
    for (const char* reason : {"bad_version", "bad_kind", "bad_parts", "stale", "unknown_sender", "no_route"})
        EXPECT_EQ(ground->count(reason), 1u) << reason;
    EXPECT_EQ(ground->count("delivered"), 1u);

    says(bytes_t(100'000));  // ends the connection; ZeroMQ makes another one
    EXPECT_TRUE(within(5s, [&] {
        socket_.send(zmq::buffer(record()), zmq::send_flags::dontwait);
        return received > 1;
    }));
}

TEST_F(WrongMessages, AtRandomHarmNobody)
{
    std::mt19937 random(20260701);  // NOLINT: the same cases every time
    for (int i = 0; i < 20000; ++i) {
        bytes_t message = record(8, random() % 64);
        for (uint32_t changes = random() % 4; changes > 0; --changes)
            message[random() % message.size()] = static_cast<uint8_t>(random());
        message.resize(random() % (message.size() + 1));
        says(message, random() % 50 == 0 ? zmq::send_flags::sndmore : zmq::send_flags::none);
    }
    says(record());
    says(record());
    EXPECT_GT(ground->count("bad_length"), 1000u);
    ground->program().signal(SIGTERM);
    EXPECT_EQ(ground->program().ends(), 0) << ground->program().errors();
}

class WrongConfiguration : public Machines {
protected:
    // What the ground's router says when it is started with this; it must end with "configuration".
    static std::string refusal(const std::string& text)
    {
        std::ofstream("/tmp/wrong.json") << text;
        const run_t wrong = run(TARN_ROUTER " run /tmp/wrong.json");
        EXPECT_EQ(wrong.code, 7) << text;
        EXPECT_THAT(wrong.text, StartsWith("tarn-router: /tmp/wrong.json"));
        EXPECT_EQ(std::count(wrong.text.begin(), wrong.text.end(), '\n'), 1) << wrong.text;
        return wrong.text;
    }
    std::string refusal(const std::string& pointer, const json& value) const
    {
        json changed = ground->config;
        changed[json::json_pointer(pointer)] = value;
        return refusal(changed.dump());
    }
};

TEST_F(WrongConfiguration, GetsOneLineThatSaysWhereWhatAndWhatInstead)
{
    const std::string a7 = "/links/a7";
    const struct {
        std::string pointer;
        json value;
        const char* text;
    } cases[] = {
        {"/bin", "x", "\"bin\": unknown key, known are \"key\" \"bind\" \"links\""},
        {"/bind", 5, "bind: found 5, write where to listen"},
        {"/bind", "tcp://10.9.0.99:1", "\"bind\" or \"connect\" is no good"},
        {"/key", "/tmp/none", "make one with `vela router keys"},
        {"/key", "/tmp/a7.json", "make one with `vela router keys"},
        {"/links", json::object(), "write a link for each other machine"},
        {a7 + "/peer_key", "short", "links.a7.peer_key: found \"short\", write the 40 characters"},
        {a7 + "/peer", "x", "links.a7.\"peer\": unknown key"},
        {a7 + "/routes", "/tmp/none", "links.a7.routes: /tmp/none"},
        {a7 + "/addresses", json::object(), "links.a7.addresses: found {}"},
        {a7 + "/addresses/4357", "0x1105", "links.a7.addresses.4357: is no address"},
        {a7 + "/addresses/0x1105", 5, "links.a7.addresses.0x1105: found 5, write a bus address"},
        {a7 + "/addresses/0x1105", "0x7777", "add it to its \"services\""},
        {a7 + "/addresses/0x1105", "0x1106", "link \"a7\" has it already"},
        {"/links/a8", ground->config["links"]["a7"], "links.a8.peer_key: link \"a7\" has the same"},
    };
    for (const auto& [pointer, value, text] : cases)
        EXPECT_THAT(refusal(pointer, value), HasSubstr(text));
    EXPECT_THAT(refusal("{\n\"key\": \"x\",\n}"), HasSubstr("/tmp/wrong.json:3: not JSON"));
    json without = ground->config;
    without["links"]["a7"].erase("peer_key");
    EXPECT_THAT(refusal(without.dump()), HasSubstr("links.a7.peer_key: missing"));
    without = ground->config;
    without.erase("bind");
    EXPECT_THAT(refusal(without.dump()), HasSubstr("one end has to connect, the other to bind"));
}

TEST_F(WrongConfiguration, SecretKeysStayWithTheirOwner)
{
    struct stat status {};
    ASSERT_EQ(stat(ground->key_file().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    const std::string key = text_of(ground->key_file());
    const run_t again = run(VELA_PROGRAM " router keys -o /tmp/ground");
    EXPECT_EQ(again.code, 4);
    EXPECT_THAT(again.text, HasSubstr("/tmp/ground.key: is there already, and is not replaced"));
    EXPECT_EQ(text_of(ground->key_file()), key);
    chmod(ground->key_file().c_str(), 0640);
    EXPECT_THAT(refusal(ground->config.dump()), HasSubstr("others can read this secret key; run `chmod 600"));
}
