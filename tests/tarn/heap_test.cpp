// Records and log lines move without the heap.
#include <kest_sketch.h>

#include "bus_fixture.h"
#include "heap_count.h"

namespace {

kest_result_t answer(kest_event_client_t client, const kest_event_t* request, void*)
{
    return kest_event_resp_data(client, request, request->msg_buf, request->msg_len);
}

// An endpoint of one command, without a mailbox that would allocate.
kest_event_client_t start_client(const bus& on, uint16_t host)
{
    static constexpr kest_event_cmd_desc_t COMMAND{answer, nullptr, 0};
    const kest_event_cmd_desc_t* tables[KEST_EVENT_SETS] = {&COMMAND};
    const uint32_t counts[KEST_EVENT_SETS] = {1};
    kest_mb_route_table_t routes;
    uint16_t own = 0;
    kest_event_client_t client = nullptr;
    EXPECT_EQ(kest_mb_create_route_table(on.config().c_str(), "peers", "app", &own, &routes), 0);
    EXPECT_EQ(kest_event_create_client(&routes, host, tables, counts, nullptr, &client), 0);
    kest_mb_destroy_route_table(&routes);
    EXPECT_EQ(kest_event_start_client(client), 0);
    return client;
}

TEST(Heap, IsNotUsedBetweenMessages)
{
    if (!heap_is_counted()) GTEST_SKIP() << "the sanitizers bring their own heap";
    const bus on;
    kest_event_client_t service = start_client(on, SERVICE);
    kest_event_client_t app = start_client(on, APP);
    const kest_event_t request = record(SERVICE, message(0, 0), 200);
    kest_event_t reply{};
    uint64_t before = 0;
    for (uint32_t i = 0; i < 200; ++i) {
        uint32_t size = sizeof reply;
        ASSERT_EQ(kest_event_send_sync(app, &request, 5'000'000, &reply, &size), 0);
        ASSERT_EQ(kest_event_send(app, &request), 0);  // its reply finds nobody who waits
        EXPECT_EQ(size, 16u + 201);
        if (i == 0) before = heap_calls();  // connected both ways
    }
    EXPECT_EQ(heap_calls() - before, 0u);
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
