// What one router says to another. A record that is taken goes out again byte for byte, but for the two words that the
// receiver fills in.
#include <cstring>

#include "fuzz_file.h"
#include "link_message.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace router;
    link_message_t message = {};
    if (read_message({data, size}, message) != message_fault::none) return 0;
    if (message.head.kind != static_cast<uint8_t>(message_kind::record)) return 0;
    check(size <= LINK_MESSAGE_MAX, "the length that is taken");
    uint8_t said[LINK_MESSAGE_MAX], again[LINK_MESSAGE_MAX];
    std::memcpy(said, data, size);
    uint8_t* record = said + sizeof message.head;
    std::memcpy(record + offsetof(kest_event_t, peer_host), &message.head.to, sizeof message.head.to);
    std::memset(record + offsetof(kest_event_t, reserved), 0, sizeof message.event.reserved);
    check(write_message(message.head, message.event, again) == size, "the length");
    check(std::memcmp(said, again, size) == 0, "every byte");
    return 0;
}
