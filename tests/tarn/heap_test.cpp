// Records and log lines move without the heap.
#include <kest_sketch.h>

#include "bus_fixture.h"
#include "heap_count.h"

namespace {

using Heap = TwoEnds;

TEST_F(Heap, IsNotUsedBetweenMessages)
{
    if (!heap_is_counted()) GTEST_SKIP() << "the sanitizers bring their own heap";
    service.serve([](kest_event_client_t client, const kest_event_t& request) {
        kest_event_resp_data(client, &request, request.msg_buf, request.msg_len);
    });
    service.keeps_mail = app.keeps_mail = false;
    const kest_event_t request = record(SERVICE, message(0, 0), 200);
    kest_event_t reply{};
    uint64_t before = 0;
    for (uint32_t i = 0; i < 200; ++i) {
        uint32_t size = sizeof reply;
        ASSERT_EQ(kest_event_send_sync(app.get(), &request, 5'000'000, &reply, &size), 0);
        ASSERT_EQ(app.send(request), 0);  // its reply finds nobody who waits
        EXPECT_EQ(size, 16u + 201);
        if (i == 0) before = heap_calls();  // connected both ways
    }
    EXPECT_EQ(heap_calls() - before, 0u);
}

TEST_F(Heap, IsNotUsedByOrdinaryLogLines)
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
