// What can be seen of the bus from outside: the tap and the counters.
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <thread>

#include <kest_osal.h>

#include "bus_fixture.h"

using testing::HasSubstr;

namespace {

struct tapped {
    tarn_tap_head_t head;
    kest_event_t event;
};

class tap_reader {
public:
    explicit tap_reader(const bus& on) : path_(on.tap_path()), fd_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        const sockaddr_un address = address_of(path_);
        EXPECT_EQ(::bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        const timeval patience{5, 0};
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    ~tap_reader()
    {
        ::close(fd_);
        ::unlink(path_.c_str());
    }
    tap_reader(const tap_reader&) = delete;
    tap_reader& operator=(const tap_reader&) = delete;

    tapped take() const
    {
        uint8_t bytes[16 + KEST_EVENT_SIZE + 1] = {};
        tapped copy{};
        const ssize_t size = ::recv(fd_, bytes, sizeof bytes, 0);
        std::memcpy(&copy.head, bytes, sizeof copy.head);
        std::memcpy(&copy.event, bytes + sizeof copy.head, sizeof copy.event);
        EXPECT_EQ(size, 32 + static_cast<ssize_t>(copy.event.msg_len)) << "head and whole record";
        return copy;
    }

private:
    std::string path_;
    int fd_;
};

using Tap = TwoEnds;

TEST_F(Tap, ShowsEveryRecordSentAndReceived)
{
    const tap_reader tap(on);
    uint64_t before = 0;
    kest_osal_get_boot_time(&before);
    app.send(record(SERVICE, message(2, 5), 1008, 0x11, 42));
    service.take();
    tapped copies[2] = {tap.take(), tap.take()};
    if (copies[0].head.direction == 1) std::swap(copies[0], copies[1]);  // the two ends run side by side
    for (const auto& [head, event] : copies) {
        EXPECT_EQ(head.from, APP);
        EXPECT_EQ(head.to, SERVICE);
        EXPECT_EQ(event.msg_id, message(2, 5));
        EXPECT_EQ(event.seq_id, 42);
        EXPECT_EQ(event.msg_buf[1007], 0x11);
        EXPECT_GE(head.boot_time_us, before);
        EXPECT_LT(head.boot_time_us, before + 5'000'000);
    }
    EXPECT_EQ(copies[0].head.direction, 0);
    EXPECT_EQ(copies[0].event.peer_host, SERVICE) << "as it stands on the wire";
    EXPECT_EQ(copies[1].head.direction, 1);
    EXPECT_EQ(copies[1].event.peer_host, APP) << "as it was delivered";
    EXPECT_LE(copies[0].head.boot_time_us, copies[1].head.boot_time_us);
}

TEST_F(Tap, MayComeAndGoAndIsNeverWaitedFor)
{
    const auto exchange = [&](uint32_t id) {
        ASSERT_EQ(app.send(record(SERVICE, message(0, id), 1008)), 0);
        service.take();
    };
    const auto until_it_is_looked_for_again = 120ms;
    exchange(0);
    {
        const tap_reader comes_and_goes(on);
        std::this_thread::sleep_for(until_it_is_looked_for_again);
        exchange(1);
        EXPECT_EQ(comes_and_goes.take().event.msg_id, message(0, 1));
    }
    exchange(2);
    EXPECT_EQ(app.counter(TARN_TAP_DROPPED), 0u) << "nobody watches: no loss";
    const tap_reader never_reads(on);
    std::this_thread::sleep_for(until_it_is_looked_for_again);
    for (uint32_t i = 0; i < 2000; ++i)
        exchange(3);
    EXPECT_GT(app.counter(TARN_TAP_DROPPED) + service.counter(TARN_TAP_DROPPED), 1000u);
}

TEST(Counters, StandInAFileAndOnTheConsoleAndStartAtZero)
{
    const captured_stderr console;
    const bus on;
    endpoint service(on, SERVICE);
    endpoint app(on, APP);
    app.send(record(SERVICE, message(0, 1)));
    app.send(record(STRANGER, message(0, 1)));
    service.take();
    const tarn_stats_file_t stats = stats_in(on.dir() + "/1105.stats");
    EXPECT_EQ(std::string(stats.magic, 8), "TARNSTA1");
    EXPECT_EQ(stats.pid, static_cast<uint32_t>(::getpid()));
    EXPECT_EQ(stats.host, SERVICE);
    EXPECT_EQ(stats.counters, TARN_COUNTERS);
    EXPECT_EQ(stats.value[TARN_RECEIVED], 1u);
    EXPECT_EQ(stats.value[TARN_CONNECTS_IN], 1u);

    ::raise(SIGUSR1);
    ASSERT_TRUE(soon([&console] { return console.text().find("tap_dropped") != std::string::npos; }));
    EXPECT_THAT(console.text(), HasSubstr("tarn: counters of endpoint        0x1105      0x0200\n"));
    EXPECT_THAT(console.text(), HasSubstr("\n  sent                                 0           1\n"));
    EXPECT_THAT(console.text(), HasSubstr("\n  send_no_route                        0           1\n"));
    EXPECT_EQ(tarn_counter_name(TARN_COUNTERS), nullptr);
    app.close();
    EXPECT_EQ(app.counter(TARN_SEND_NO_ROUTE), 1u) << "stays after the end";
    EXPECT_EQ(endpoint(on, APP).counter(TARN_SEND_NO_ROUTE), 0u);
}

}  // namespace
