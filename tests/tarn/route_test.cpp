#include "bus_fixture.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

struct wrong_route {
    const char* text;       // of the file
    const char* complaint;  // after the file's name
    kest_result_t result = -EINVAL;
};

const wrong_route WRONG[] = {
    {"", ":1: not JSON: found the end of the file"},
    {"{\n \"bus_dir\": \"/b\"\n \"services\": {}\n}", ":3: not JSON: found '\"services\": {}'"},
    {R"({"bus_dir": "/b", "services": {}} trailing)", ":1: not JSON: found 'trailing'"},
    {"[]", ": the whole file: found []"},
    {R"({"services": {}})", ": bus_dir: missing, write an absolute path"},
    {R"({"bus_dir": "b", "services": {}})", ": bus_dir: found \"b\", write an absolute path"},
    {R"({"bus_dir": "/b"})", ": services: missing"},
    {R"({"bus_dir": "/b", "services": {}, "alow": {}})", ": \"alow\": unknown key, known are"},
    {R"({"bus_dir": "/b", "services": {}, "tap": 1})", ": tap: found 1"},
    {R"({"bus_dir": "/b", "services": {"s": []}})", ": services.s: found []"},
    {R"({"bus_dir": "/b", "services": {"s": {"e": "0x1"}}})", ": services.s.e: found \"0x1\""},
    {R"({"bus_dir": "/b", "services": {"s": {"e": {"host": 4357}}}})", ": services.s.e.host: found 4357"},
    {R"({"bus_dir": "/b", "services": {"s": {"e": {"host": "0x11050"}}}})", ": services.s.e.host: found"},
    {R"({"bus_dir": "/b", "services": {"s": {"e": {"host": "0x"}}}})", ": services.s.e.host: found \"0x\""},
    {R"({"bus_dir": "/b", "services": {"s": {"a": {"host": "0x1"}, "b": {"host": "0x0001"}}}})",
     ": services.s.b.host: found \"0x0001\", another endpoint has this address"},
    {R"({"bus_dir": "/b", "services": {}, "allow": {"306": {"uid": [0]}}})", ": allow.306: found"},
    {R"({"bus_dir": "/b", "services": {}, "allow": {"0x306": {"uid": 0}}})", ": allow.0x306.uid: found 0"},
    {R"({"bus_dir": "/b", "services": {}, "allow": {"0x306": {"uid": [-1]}}})", ": allow.0x306.uid: found -1"},
    {R"({"bus_dir": "/b", "services": {}, "allow": {"0x306": {"users": [1]}}})", ": allow.0x306.\"users\""},
    {R"({"bus_dir": "/b", "services": {"fligth": {}}})", ": no service \"flight\" in it, there are: fligth", -ENOENT},
    {R"({"bus_dir": "/b", "services": {"flight": {"fmv": {"host": "0x1"}}}})",
     ": no endpoint \"fmu\" in it, there are: fmv", -ENOENT},
};

TEST(Routes, WrongOnesGetOneLineThatSaysWhereWhatAndWhatInstead)
{
    const scratch directory;
    for (const auto& [text, complaint, result] : WRONG) {
        const std::string path = directory.file("routes.json", text);
        kest_mb_route_table_t table{nullptr, 77, {}};
        uint16_t host = 77;
        const captured_stderr console;
        EXPECT_EQ(kest_mb_create_route_table(path.c_str(), "flight", "fmu", &host, &table), result) << text;
        EXPECT_THAT(console.text(), StartsWith("tarn: " + path + complaint));
        EXPECT_THAT(console.text(), EndsWith("; see packaging/vela.json for a complete example\n"));
        EXPECT_EQ(console.lines(), 1);
        EXPECT_TRUE(host == 77 && table.target_size == 77) << "outputs must stay untouched";
    }
    kest_mb_route_table_t table;
    uint16_t host = 0;
    const captured_stderr console;
    EXPECT_EQ(kest_mb_create_route_table((directory / "none").c_str(), "s", "e", &host, &table), -ENOENT);
    EXPECT_EQ(kest_mb_create_route_table((directory / ".").c_str(), "s", "e", &host, &table), -EISDIR);
    EXPECT_THAT(console.text(), HasSubstr("none: cannot be read (No such file or directory); see packaging/vela.json"));
    EXPECT_THAT(console.text(), HasSubstr("/.: cannot be read (Is a directory)"));
}

TEST(Routes, TableHoldsEveryAddressUpTo128AndThoseOfTheExample)
{
    const auto with_addresses = [](int count) {
        std::string text = R"({"bus_dir": "/b", "services": {"s": {"comment": "all")";
        for (int i = 0; i < count; ++i)
            text += ", \"e" + std::to_string(i) + "\": {\"host\": \"0x10" + "0123456789abcdef"[i / 16] +
                    "0123456789abcdef"[i % 16] + "\"}";
        return text + "}}}";
    };
    const scratch directory;
    kest_mb_route_table_t table;
    uint16_t host = 0;
    const std::string full = directory.file("full", with_addresses(128));
    ASSERT_EQ(kest_mb_create_route_table(full.c_str(), "s", "e127", &host, &table), 0);
    EXPECT_EQ(host, 0x107f);
    EXPECT_EQ(table.target_size, 128);
    EXPECT_NE(table.targets[127], nullptr);
    EXPECT_EQ(kest_mb_destroy_route_table(&table), 0);
    EXPECT_EQ(table.target_size, 0);
    const captured_stderr console;
    const std::string over = directory.file("over", with_addresses(129));
    EXPECT_EQ(kest_mb_create_route_table(over.c_str(), "s", "e0", &host, &table), -E2BIG);
    EXPECT_THAT(console.text(), HasSubstr("more than 128 addresses"));
    ASSERT_EQ(kest_mb_create_route_table(EXAMPLE_ROUTES, "flight_service", "flight_nfz_upgrade", &host, &table), 0);
    EXPECT_EQ(host, 0x1106);
    kest_mb_destroy_route_table(&table);
}

}  // namespace
