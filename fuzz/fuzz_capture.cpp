// A capture of the bus from anywhere.
#include "capture/capture_reader.h"
#include "fuzz_file.h"

static void check_within(input_t file, const peers::capture_packet_t& packet)
{
    const auto begin = static_cast<size_t>(packet.bytes.data() - file.data());
    check(begin <= file.size() && packet.bytes.size() <= file.size() - begin, "a packet within the file");
    check(packet.offset < begin, "a block before its bytes");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    peers::capture_t capture;
    peers::capture_error_t error;
    const bool whole = peers::read_capture({data, size}, capture, error);
    check(whole || (!error.reason.empty() && error.offset <= size), "a reason, and where");
    for (const peers::capture_packet_t& packet : capture.packets) {
        check_within({data, size}, packet);
        tarn_tap_head_t head;
        kest_event_t event;
        if (!peers::read_tap_copy(packet.bytes, head, event)) continue;
        check(packet.bytes.size() == sizeof head + KEST_EVENT_HEAD_SIZE + event.msg_len, "exactly one record");
    }
    return 0;
}
