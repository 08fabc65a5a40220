#include "link_message.h"

#include <bit>
#include <cstring>

namespace router {

static_assert(std::endian::native == std::endian::little, "messages travel little-endian, as they lie in memory");

namespace {

message_fault read_hello(std::span<const uint8_t> bytes, link_message_t& message)
{
    link_hello_t hello;
    if (bytes.size() != sizeof hello) return message_fault::length;
    std::memcpy(&hello, bytes.data(), sizeof hello);
    message.far_session = hello.session;
    return message_fault::none;
}

message_fault read_record(std::span<const uint8_t> record, link_message_t& message)
{
    if (record.size() < KEST_EVENT_HEAD_SIZE || record.size() > KEST_EVENT_SIZE) return message_fault::length;
    std::memcpy(&message.event, record.data(), record.size());
    if (message.event.msg_len != record.size() - KEST_EVENT_HEAD_SIZE) return message_fault::length;
    message.event.peer_host = message.head.to;
    message.event.reserved = 0;
    return message_fault::none;
}

}  // namespace

message_fault read_message(std::span<const uint8_t> bytes, link_message_t& message)
{
    if (bytes.size() < sizeof message.head) return message_fault::length;
    std::memcpy(&message.head, bytes.data(), sizeof message.head);
    if (message.head.version != LINK_VERSION) return message_fault::version;
    switch (static_cast<message_kind>(message.head.kind)) {
        case message_kind::record:
            return read_record(bytes.subspan(sizeof message.head), message);
        case message_kind::hello:
            return read_hello(bytes, message);
        case message_kind::bye:
            return bytes.size() == sizeof message.head ? message_fault::none : message_fault::length;
    }
    return message_fault::kind;
}

size_t write_message(const link_head_t& head, const kest_event_t& event, std::span<uint8_t, LINK_MESSAGE_MAX> out)
{
    std::memcpy(out.data(), &head, sizeof head);
    std::memcpy(out.data() + sizeof head, &event, KEST_EVENT_HEAD_SIZE + event.msg_len);
    return sizeof head + KEST_EVENT_HEAD_SIZE + event.msg_len;
}

}  // namespace router
