// Capture files: what is written is read back, and a file that lies is refused where it lies.
#include <gmock/gmock.h>

#include "capture/capture_reader.h"
#include "capture/capture_writer.h"
#include "capture/pcapng_format.h"
#include "support/scratch.h"

namespace {

using bytes_t = std::vector<uint8_t>;
using testing::HasSubstr;
namespace pcapng = peers::pcapng;

constexpr uint64_t NOON_US = 1'800'000'000'000'000;
constexpr size_t INTERFACE_AT = pcapng::BLOCK_FRAME + sizeof(pcapng::section_t) + 4;  // no options but the end
constexpr size_t PACKET_AT = INTERFACE_AT + pcapng::BLOCK_FRAME + sizeof(pcapng::interface_t) + 8 + 4;

bytes_t copy_of_record(size_t payload)
{
    bytes_t bytes(sizeof(tarn_tap_head_t) + KEST_EVENT_HEAD_SIZE + payload, 0x5a);
    const auto length = static_cast<uint32_t>(payload);
    std::memcpy(&bytes[sizeof(tarn_tap_head_t) + offsetof(kest_event_t, msg_len)], &length, sizeof length);
    return bytes;
}

class CaptureFile : public testing::Test {
protected:
    bytes_t written(const std::vector<size_t>& payloads, const peers::capture_about_t& about = {})
    {
        const auto writer = peers::CaptureWriter::create(path, about);
        uint64_t time = NOON_US;
        for (const size_t payload : payloads)
            writer->packet(time++, copy_of_record(payload));
        EXPECT_TRUE(writer->finish({NOON_US, time, 9, payloads.size(), 7, "some"}));
        const std::string bytes = text_of(path);
        return {bytes.begin(), bytes.end()};
    }

    // Read from memory of exactly that size, so that the sanitizer sees a byte too much.
    bool reads(const bytes_t& file)
    {
        exact.assign(file.begin(), file.end());
        exact.shrink_to_fit();
        capture = {};
        error = {};
        return peers::read_capture(exact, capture, error);
    }

    template <class Value>
    bytes_t with(bytes_t file, size_t offset, Value value)
    {
        std::memcpy(&file.at(offset), &value, sizeof value);
        return file;
    }

    void expect_refused(const bytes_t& file, size_t offset, const char* reason)
    {
        EXPECT_FALSE(reads(file)) << reason;
        EXPECT_EQ(error.offset, offset) << reason;
        EXPECT_THAT(error.reason, HasSubstr(reason));
    }

    scratch directory;
    const std::string path = directory / "capture.pcapng";
    bytes_t exact;
    peers::capture_t capture;
    peers::capture_error_t error;
};

TEST_F(CaptureFile, GivesBackEveryPacketItsTimeAndWhatIsMissing)
{
    ASSERT_TRUE(reads(written({0, 1, 2, 3, 1008}, {"tool", "os", "machine", "tap", "bus", "0x0200 app/phone"})));
    ASSERT_EQ(capture.packets.size(), 5u);
    EXPECT_EQ(capture.lost, 7u);
    for (size_t i = 0; i < 5; i++)
        EXPECT_EQ(capture.packets[i].time_ns, (NOON_US + i) * 1000);
    const auto last = capture.packets[4].bytes;
    EXPECT_EQ(bytes_t(last.begin(), last.end()), copy_of_record(1008));
}

TEST_F(CaptureFile, SaysWhyItCannotBegin)
{
    EXPECT_EQ(peers::CaptureWriter::create("/dev/full", {}), nullptr);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(peers::CaptureWriter::create(directory / "no/folder", {}), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(CaptureFile, CutAnywhereGivesWhatIsBeforeTheCut)
{
    const bytes_t file = written({5, 6, 7});
    reads(file);
    const std::vector<peers::capture_packet_t> whole = capture.packets;
    for (size_t size = 0; size < file.size(); size++) {
        const bool complete = reads(bytes_t(file.begin(), file.begin() + static_cast<ptrdiff_t>(size)));
        size_t packets = 0;
        while (packets < whole.size() && whole[packets].offset + pcapng::BLOCK_FRAME + sizeof(pcapng::packet_t) +
                                                 whole[packets].bytes.size() +
                                                 pcapng::padding_of(whole[packets].bytes.size()) <=
                                             size)
            packets++;
        EXPECT_EQ(capture.packets.size(), packets) << "cut at " << size;
        EXPECT_TRUE(complete || error.offset <= size);
    }
    EXPECT_TRUE(reads(file)) << "the whole one still is";
}

TEST_F(CaptureFile, ThatLiesIsRefusedWhereItLies)
{
    const bytes_t file = written({5, 6});
    const size_t packet_size_at = PACKET_AT + offsetof(pcapng::block_head_t, size);
    const size_t captured_at = PACKET_AT + sizeof(pcapng::block_head_t) + offsetof(pcapng::packet_t, captured);
    ASSERT_TRUE(reads(file));
    ASSERT_EQ(capture.packets[0].offset, PACKET_AT);

    expect_refused({}, 0, "empty");
    expect_refused(bytes_t(40, 'x'), 0, "no pcapng file");
    expect_refused(with(file, 8, pcapng::BYTES_SWAPPED), 0, "big-endian");
    expect_refused(with(file, 12, uint16_t{2}), 0, "another version");
    expect_refused(with(file, INTERFACE_AT + 8, uint16_t{1}), INTERFACE_AT, "link type 1, the bus has 147");
    expect_refused(with(file, PACKET_AT + 8, uint32_t{1}), PACKET_AT, "interface 1, there are 1");
    for (const uint32_t size : {0u, 4u, 11u, 13u})
        expect_refused(with(file, packet_size_at, size), PACKET_AT, "a block that says it has");
    for (const uint32_t size : {0xfffffffcu, 0x80000000u, static_cast<uint32_t>(file.size())})
        expect_refused(with(file, packet_size_at, size), PACKET_AT, "the file is cut");
    expect_refused(with(file, packet_size_at, uint32_t{64}), PACKET_AT, "at its end");
    for (const uint32_t size : {0u, 36u, 41u, 0xffffffffu})
        expect_refused(with(file, captured_at, size), PACKET_AT, "a packet that says it has");

    bytes_t short_packet(pcapng::BLOCK_FRAME + 4);
    const uint32_t words[] = {pcapng::BLOCK_PACKET, 16, 0, 16};
    std::memcpy(short_packet.data(), words, sizeof words);
    bytes_t longer = file;
    longer.insert(longer.end(), short_packet.begin(), short_packet.end());
    expect_refused(longer, file.size(), "a packet that is too short");
    EXPECT_EQ(capture.packets.size(), 2u);
}

// Other programs add blocks and options of their own, and count time in other units.
TEST_F(CaptureFile, OfAnotherProgramIsRead)
{
    const bytes_t file = written({5});
    const size_t resolution_at = INTERFACE_AT + sizeof(pcapng::block_head_t) + sizeof(pcapng::interface_t) + 4;
    ASSERT_EQ(file[resolution_at], 6);
    ASSERT_TRUE(reads(with(file, resolution_at, uint8_t{9})));
    EXPECT_EQ(capture.packets[0].time_ns, NOON_US) << "nanoseconds";
    for (const uint8_t unit : {uint8_t{10}, uint8_t{0x8a}})
        expect_refused(with(file, resolution_at, unit), INTERFACE_AT, "unknown unit");
    ASSERT_TRUE(reads(with(file, resolution_at - 2, uint16_t{0xfff0}))) << "an option that does not fit counts as none";
    EXPECT_EQ(capture.packets[0].time_ns, NOON_US * 1000);

    bytes_t twice = file;
    twice.insert(twice.end(), file.begin(), file.end());
    const uint32_t foreign[] = {0x0bad, 16, 0x12345678, 16};
    const auto* first = reinterpret_cast<const uint8_t*>(foreign);
    twice.insert(twice.end(), first, first + sizeof foreign);
    ASSERT_TRUE(reads(twice)) << "two sections, and a block that nobody knows";
    EXPECT_EQ(capture.packets.size(), 2u);
    EXPECT_EQ(capture.lost, 14u);
}

TEST(TapCopy, IsExactlyOneRecord)
{
    tarn_tap_head_t head = {};
    kest_event_t event = {};
    EXPECT_TRUE(peers::read_tap_copy(copy_of_record(0), head, event));
    EXPECT_TRUE(peers::read_tap_copy(copy_of_record(KEST_EVENT_MAX_PAYLOAD), head, event));
    EXPECT_EQ(event.msg_len, static_cast<uint32_t>(KEST_EVENT_MAX_PAYLOAD));
    EXPECT_FALSE(peers::read_tap_copy(copy_of_record(KEST_EVENT_MAX_PAYLOAD + 1), head, event));
    bytes_t one = copy_of_record(8);
    one.pop_back();
    EXPECT_FALSE(peers::read_tap_copy(one, head, event));
    one.resize(31);
    EXPECT_FALSE(peers::read_tap_copy(one, head, event));
    EXPECT_EQ(event.msg_len, static_cast<uint32_t>(KEST_EVENT_MAX_PAYLOAD)) << "untouched";
}

}  // namespace
