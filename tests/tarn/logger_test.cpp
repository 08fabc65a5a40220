// Log lines: which pass, how they look, where they go.
#include <kest_sketch.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstring>
#include <sstream>

#include "bus_fixture.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr int32_t FORMAT_BASIC = 352;

kest_result_t initialize(const std::string& config, int32_t level = KEST_LOG_ERROR, int32_t format = FORMAT_BASIC)
{
    kest_sketch_attrib_t attributes{};
    attributes.log_level = level;
    attributes.log_format = format;
    attributes.log_module_levels[7] = KEST_LOG_INFO;
    attributes.config_file = config.empty() ? nullptr : config.c_str();
    return kest_sketch_initialize(&attributes);
}

// A configuration with a log file there.
std::string logging_to(const std::string& path)
{
    return R"({"log": {"file": ")" + path + R"(", "max_bytes": 1024, "max_files": 2}})";
}

std::string head(int32_t module, int32_t level, uint32_t size = 128)
{
    char text[128] = "?";
    const int32_t length = kest_log_gen_head(module, level, text, size, "flight_log/flight_log", "flight_log", 59);
    EXPECT_EQ(static_cast<size_t>(length), length == 0 ? 0 : strlen(text));
    return length == 0 ? "" : text;
}

// As the service writes a line.
void log(const std::string& text)
{
    char prefix[128];
    if (kest_log_gen_head(94, 1, prefix, sizeof prefix, "s", "flight_log", 59) == 0) return;
    kest_log_print(94, 1, prefix, "[vela_flight][%8.3f][%s]%s", 1.5, "tag", text.c_str());
}

TEST(LogHead, ShowsWhatTheFormatAsksFor)
{
    ASSERT_EQ(initialize(""), 0);
    EXPECT_EQ(head(94, 1), "[E][94][flight_log:59] ");
    EXPECT_EQ(head(94, 1, 10), "[E][94][f") << "cut to fit";
    EXPECT_EQ(head(94, 1, 1), "");
    initialize("", KEST_LOG_ERROR, KEST_LOG_FORMAT_FUNCTION);
    EXPECT_EQ(head(94, 1), "[E][flight_log] ");
    initialize("", KEST_LOG_ERROR, KEST_LOG_FORMAT_LINE);
    EXPECT_EQ(head(94, 1), "[E][flight_log/flight_log:59] ");
    initialize("", KEST_LOG_ERROR, 0);
    EXPECT_EQ(head(94, 1), "[E] ") << "a line that passes has a head, whatever the format";
}

TEST(LogFilter, GoesByModuleThenByLevelAndTheFileHasTheLastWord)
{
    const auto passing = [](int32_t module) {
        std::string levels;
        for (int32_t level = -1; level <= 5; ++level)
            levels += head(module, level).empty() ? "" : std::to_string(level);
        return levels;
    };
    initialize("", KEST_LOG_ERROR);
    EXPECT_EQ(passing(94), "1");
    EXPECT_EQ(passing(7), "123");
    EXPECT_EQ(passing(131), "1");
    EXPECT_EQ(passing(-1), "1");
    initialize("", KEST_LOG_OFF);
    EXPECT_EQ(passing(94), "");
    const scratch directory;
    ASSERT_EQ(initialize(directory.file("log.json", R"({"other": 1,
        "log": {"level": "warn", "modules": {"94": "debug", "7": "off", "130": "error"}}})")),
              0);
    EXPECT_EQ(passing(1), "12");
    EXPECT_EQ(passing(94), "1234");
    EXPECT_EQ(passing(7), "");
    EXPECT_EQ(passing(130), "1");
}

TEST(LogLine, IsHeadAndTextAndNothingElse)
{
    const captured_stderr console;
    const scratch directory;
    ASSERT_EQ(initialize(directory / "missing.json"), 0) << "no configuration: console only";
    log("without an end");
    log("with one\n");
    EXPECT_EQ(console.text(),
              "[E][94][flight_log:59] [vela_flight][   1.500][tag]without an end"
              "[E][94][flight_log:59] [vela_flight][   1.500][tag]with one\n");
    const size_t before = console.text().size();
    log(std::string(5000, 'x'));
    EXPECT_EQ(console.text().size(), before + 4095) << "cut";
}

TEST(LogFile, GetsTheSameLinesAndRotates)
{
    const captured_stderr console;
    const scratch directory;
    ASSERT_EQ(initialize(directory.file("log.json", logging_to(directory / "sub/x.log"))), 0);
    log("first\n");
    EXPECT_EQ(text_of(directory / "sub/x.log"), console.text());
    for (int i = 0; i < 100; ++i)
        log(std::to_string(i) + "\n");
    EXPECT_THAT(text_of(directory / "sub/x.log"), EndsWith("]99\n"));
    std::string kept;
    for (const char* name : {"sub/x.2.log", "sub/x.1.log", "sub/x.log"}) {
        const std::string text = text_of(directory / name);
        EXPECT_GT(text.size(), 0u);
        EXPECT_LE(text.size(), 1024u);
        kept += text;
    }
    EXPECT_THAT(console.text(), EndsWith(kept)) << "no line is lost or cut where one file ends";
    EXPECT_NE(::access((directory / "sub/x.3.log").c_str(), F_OK), 0);
    initialize("");
}

TEST(LogFile, ThatCannotBeWrittenLeavesTheConsole)
{
    const captured_stderr console;
    const scratch directory;
    EXPECT_EQ(initialize(directory.file("log.json", logging_to(directory / "."))), -EISDIR);
    EXPECT_THAT(console.text(), HasSubstr("/.: cannot open the log file (Is a directory), lines go to the console"));
    ASSERT_EQ(initialize(directory.file("log.json", logging_to("/dev/full"))), 0);
    for (int i = 0; i < 30; ++i)
        log("full " + std::to_string(i) + std::string(100, '.') + "\n");
    EXPECT_THAT(console.text(), HasSubstr("]full 29"));

    // A rotation that finds no free descriptor leaves the library without a file in the middle of its work.
    ASSERT_EQ(initialize(directory.file("log.json", logging_to(directory / "x.log"))), 0);
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    for (size_t i = 0; i < 12; ++i)
        log("starved " + std::to_string(i) + std::string(i % 2 * 300, '.') + "\n");
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_THAT(console.text(), HasSubstr("]starved 11"));
    EXPECT_THAT(text_of(directory / "x.1.log"), HasSubstr("]starved 0"));
    initialize("");
}

TEST(LogConfig, WrongValuesGetALineAndTheConsole)
{
    const scratch directory;
    const std::pair<const char*, const char*> wrong[] = {
        {"{\"log\": {\"level\": \"info\"", ":1: not JSON: found the end of the file"},
        {"{\"log\": 3}", ": log: found 3"},
        {"{\"log\": {\"level\": 3}}", ": log.level: found 3, write \"off\""},
        {"{\"log\": {\"levels\": 3}}", ": log.\"levels\": unknown key, known are \"level\""},
        {"{\"log\": {\"modules\": {\"131\": \"info\"}}}", ": log.modules.131: found \"info\", write a module's number"},
        {"{\"log\": {\"file\": \"x.log\"}}", ": log.file: found \"x.log\", write an absolute path"},
        {"{\"log\": {\"max_bytes\": 10}}", ": log.max_bytes: found 10, write a whole number from 1024"},
        {"{\"log\": {\"max_files\": 1.5}}", ": log.max_files: found 1.5"},
    };
    for (const auto& [text, complaint] : wrong) {
        const captured_stderr console;
        const std::string path = directory.file("log.json", text);
        EXPECT_EQ(initialize(path), -EINVAL) << text;
        EXPECT_THAT(console.text(), StartsWith("tarn: " + path + complaint));
        log("still here\n");
        EXPECT_THAT(console.text(), EndsWith("still here\n"));
    }
}

TEST(LogConsole, LinesOfManyThreadsStayWholeAndAClosedPipeDoesNotKill)
{
    initialize("");
    const captured_stderr console;
    in_threads(4, [](uint16_t thread) {
        for (int i = 0; i < 50; ++i)
            log(std::string(60, static_cast<char>('a' + thread)) + "\n");
    });
    std::istringstream printed(console.text());
    std::string line;
    int whole = 0;
    while (std::getline(printed, line))
        whole += line == "[E][94][flight_log:59] [vela_flight][   1.500][tag]" + std::string(60, line.back());
    EXPECT_EQ(whole, 200);

    int pipe_ends[2];
    ASSERT_EQ(::pipe(pipe_ends), 0);
    ::close(pipe_ends[0]);
    ::dup2(pipe_ends[1], STDERR_FILENO);  // until the end of `console`
    log("nobody reads this\n");
    log("nor this\n");
    ::close(pipe_ends[1]);
}

}  // namespace
