// What a message costs, and who may run beside it.
#include <thread>

#include "aircraft.h"
#include "flight_timer/flight_timer.h"

class MessagePath : public Aircraft {
protected:
    MessagePath()
    {
        unsetenv("TZ");
        flight_time_init();
        service_starts();
    }
};

TEST_F(MessagePath, UsesNoHeap)
{
    if (!heap_is_counted()) GTEST_SKIP() << "the sanitizers bring their own heap";
    app.takes(database({1, 2, 3, 4}, 100'000));
    app.sends_blocks(2);
    std::vector<record_t> blocks;
    for (uint32_t number = 2; number < 5; ++number) {
        const bytes_t data = part(app.file(), size_t{number} * 980, size_t{number + 1} * 980);
        blocks.push_back({0x0200, UPGRADE, 0, 0x09, WANTS_REPLY, 1, bytes_t{0} + u32(number) + u16(980) + data});
    }
    const record_t read = {0x0306, UPGRADE, 0x1f, 0x11, WANTS_REPLY, 1, bytes_t{0} + u32(0) + u32(270)};
    const bytes_t fragment = bytes_t{1} + u16(0) + u32(1000) + bytes_t{255} + bytes_t(255, 0x33);
    const std::vector<std::pair<const char*, record_t>> messages = {
        {"range read, refused", read},
        {"version query", {0x0200, FLIGHT, 0, 0x01, WANTS_REPLY, 1, {}}},
        {"database version", {0x0200, UPGRADE, 0, 0x01, WANTS_REPLY, 1, {}}},
        {"bag push", {0x0306, FLIGHT, 0x03, 0xc1, 0, 1, zeros(164)}},
        {"unknown command", {0x0200, FLIGHT, 0x55, 0x55, WANTS_REPLY, 1, {}}},
        {"restrictions, fragment", {0x0200, FLIGHT, 0x03, 0xcd, WANTS_REPLY, 1, fragment}},
        {"restrictions, finish", {0x0200, FLIGHT, 0x03, 0xcd, WANTS_REPLY, 1, {2}}},
        {"restrictions, start", {0x0200, FLIGHT, 0x03, 0xcd, WANTS_REPLY, 1, {0}}}};
    const std::string timers[] = {"nfz_upgrade_timer", "DBI_TIMER"};
    for (size_t round = 0; round < 3; ++round) {  // the first makes buffers of the C library ready
        SCOPED_TRACE(round);
        const uint64_t allowed = round == 0 ? UINT64_MAX : 0;
        EXPECT_LE(heap_calls_of([&] { bus.delivers(blocks[round]); }), allowed) << "data block";
        for (const auto& named : messages)
            EXPECT_LE(heap_calls_of([&] { bus.delivers(named.second); }), allowed) << named.first;
        for (const std::string& timer : timers)
            EXPECT_LE(heap_calls_of([&] { clock.ticks(timer); }), allowed) << timer;
    }
    EXPECT_EQ(app.sends_block(5), 0) << "the three blocks were taken";
    upgrade_reaches(UPGRADE_STATE_IDLE);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(heap_calls_of([&] { bus.delivers(read); }), 0u) << "range read, served";
        EXPECT_EQ(heap_calls_of([&] { clock.ticks(timers[0]); }), 0u) << "announcement and interlock";
    }
}

// Both clients' tasks, both timers and a sender at once: for the thread sanitizer.
TEST_F(MessagePath, TasksAndTimersShareOnlyWords)
{
    const record_t push = {0x0306, FLIGHT, 0x03, 0xc1, 0, 1, zeros(164)};
    const record_t answer = {0x0306, UPGRADE, 0x03, 0xea, IS_REPLY, 1, zeros(8)};
    std::thread flight_task([&] {
        for (int i = 0; i < 500; ++i)
            bus.delivers(push);
    });
    std::thread timers([&] {
        for (int i = 0; i < 200; ++i) {
            clock.ticks("nfz_upgrade_timer");
            clock.ticks("DBI_TIMER");
        }
    });
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(app.sends_all(), 0);
        bus.delivers(answer);
    }
    flight_task.join();
    timers.join();
    EXPECT_EQ(state(), UPGRADE_STATE_SUCCESS);
}
