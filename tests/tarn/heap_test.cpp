// Records and log lines move without the heap.
#include <kest_sketch.h>

#include <condition_variable>

#include "bus_fixture.h"
#include "heap_count.h"

namespace {

constexpr uint32_t ROUNDS = 200;

// Passes a request to and fro until `left` is zero, without a mailbox that would allocate.
struct ping_pong {
    std::mutex mutex;
    std::condition_variable done;
    uint32_t left = ROUNDS;

    static kest_result_t answer(kest_event_client_t client, const kest_event_t* request, void*)
    {
        return kest_event_resp_data(client, request, request->msg_buf, request->msg_len);
    }
    static kest_result_t again(kest_event_client_t client, const kest_event_t*, void* self)
    {
        auto& me = *static_cast<ping_pong*>(self);
        const std::lock_guard lock(me.mutex);
        if (me.left > 0 && --me.left > 0) return kest_event_send(client, &REQUEST);
        me.done.notify_all();
        return 0;
    }
    void wait()
    {
        std::unique_lock lock(mutex);
        EXPECT_TRUE(done.wait_for(lock, 10s, [this] { return left == 0; }));
    }
    static inline const kest_event_t REQUEST = record(SERVICE, message(0, 0), 200);
};

kest_event_client_t start_client(const bus& on, uint16_t host, const kest_event_cmd_desc_t& command, void* userdata)
{
    const kest_event_cmd_desc_t* tables[KEST_EVENT_SETS] = {&command};
    const uint32_t counts[KEST_EVENT_SETS] = {1};
    kest_mb_route_table_t routes;
    uint16_t own = 0;
    kest_event_client_t client = nullptr;
    EXPECT_EQ(kest_mb_create_route_table(on.config().c_str(), "peers", "app", &own, &routes), 0);
    EXPECT_EQ(kest_event_create_client(&routes, host, tables, counts, userdata, &client), 0);
    kest_mb_destroy_route_table(&routes);
    EXPECT_EQ(kest_event_start_client(client), 0);
    return client;
}

TEST(Heap, IsNotUsedBetweenMessages)
{
    if (!heap_is_counted()) GTEST_SKIP() << "the sanitizers bring their own heap";
    const bus on;
    ping_pong game;
    const kest_event_cmd_desc_t answers{ping_pong::answer, nullptr, 0};
    const kest_event_cmd_desc_t asks{nullptr, ping_pong::again, 0};
    kest_event_client_t service = start_client(on, SERVICE, answers, nullptr);
    kest_event_client_t app = start_client(on, APP, asks, &game);
    kest_event_t reply{};
    uint32_t size = sizeof reply;
    ASSERT_EQ(kest_event_send_sync(app, &ping_pong::REQUEST, 5'000'000, &reply, &size), 0);  // connects both ways
    const uint64_t before = heap_calls();
    ASSERT_EQ(kest_event_send(app, &ping_pong::REQUEST), 0);
    game.wait();
    for (uint32_t i = 0; i < ROUNDS; ++i) {
        size = sizeof reply;
        if (kest_event_send_sync(app, &ping_pong::REQUEST, 5'000'000, &reply, &size) != 0) break;
    }
    EXPECT_EQ(heap_calls() - before, 0u) << "over " << 2 * ROUNDS << " round trips";
    EXPECT_EQ(size, 16u + 201);
    tarn_client_close(app);
    tarn_client_close(service);
}

TEST(Heap, IsNotUsedByOrdinaryLogLines)
{
    if (!heap_is_counted()) GTEST_SKIP() << "the sanitizers bring their own heap";
    const captured_stderr console;
    const scratch directory;
    const std::string config = directory.file("log.json", R"({"log": {"file": ")" + (directory / "x.log") + "\"}}");
    kest_sketch_attrib_t attributes{};
    attributes.log_level = 1;
    attributes.config_file = config.c_str();
    ASSERT_EQ(kest_sketch_initialize(&attributes), 0);
    char head[128];
    const auto log = [&head] {
        kest_log_gen_head(94, 1, head, sizeof head, "s", "f", 1);
        kest_log_print(94, 1, head, "[%8.3f][%s]%0126d\n", 1.5, "tag", 7);
    };
    log();  // the file's buffer and the C library's number formatting make themselves ready
    const uint64_t before = heap_calls();
    for (int i = 0; i < 100; ++i)
        log();
    EXPECT_EQ(heap_calls() - before, 0u);
    attributes.config_file = nullptr;
    kest_sketch_initialize(&attributes);
}

}  // namespace
