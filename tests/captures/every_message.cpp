// A capture with every message that is described, and with what goes wrong with them, written to the file that is
// named.
#include <algorithm>
#include <random>
#include <vector>

#include "capture/capture_writer.h"
#include "flight_v1_wire.h"
#include "messages/message.h"
#include "tarn_host.h"

namespace {

constexpr int TIMES = 3;  // each message at its length, with other bytes
constexpr uint16_t NOBODY = 0x4242;

class Traffic {
public:
    explicit Traffic(peers::CaptureWriter& writer) : writer_(writer) {}

    void every_message()
    {
        for (const auto& group : peers::message_groups()) {
            for (const peers::message_t& message : group)
                all_of(message);
        }
    }

    void of(uint8_t set, uint8_t id, bool reply, uint16_t server, const std::vector<uint8_t>& payload)
    {
        const uint16_t client = server == HOST_APP ? NOBODY : HOST_APP;
        const uint16_t from = reply ? server : client;
        const uint16_t to = reply ? client : server;
        kest_event_t event = {static_cast<uint32_t>(set) << 16 | id,
                              to,
                              reply ? ATTRIB_REPLY : ATTRIB_SEND_SYNC,
                              reply ? seq_id_ : ++seq_id_,
                              0,
                              static_cast<uint32_t>(payload.size()),
                              {}};
        std::copy(payload.begin(), payload.end(), event.msg_buf);
        for (const uint8_t direction : {uint8_t{0}, uint8_t{1}})
            copy({time_us_++, from, to, direction, {}}, event);
    }

private:
    void all_of(const peers::message_t& message)
    {
        const uint16_t server = message.server != 0 ? message.server : HOST_FLIGHT_SERVICE;
        const bool reply = message.kind == peers::message_kind::reply;
        for (int i = 0; i < TIMES; i++)
            of(message.set, message.id, reply, server, bytes(message, message.size));
        every_name(message, reply, server);
        if (message.size > 0) of(message.set, message.id, reply, server, bytes(message, message.size - 1u));
        for (const size_t other : {size_t{0}, message.size + size_t{1}, message.size + size_t{9}})
            of(message.set, message.id, reply, server, bytes(message, other));
        of(message.set, message.id, reply, NOBODY, bytes(message, message.size));
        if (reply) of(message.set, message.id, reply, server, {REPLY_UNKNOWN_COMMAND});
    }

    // Each value that has a name; those are single numbers of up to four bytes.
    void every_name(const peers::message_t& message, bool reply, uint16_t server)
    {
        for (const peers::field_t& field : message.fields) {
            for (const auto* row = field.names; row != nullptr && row->name != nullptr; row++) {
                std::vector<uint8_t> payload = bytes(message, message.size);
                put(payload, field, row->value);
                of(message.set, message.id, reply, server, payload);
            }
        }
    }

    static void put(std::vector<uint8_t>& payload, const peers::field_t& field, uint32_t value)
    {
        const size_t room = payload.size() - field.offset;
        const size_t size = std::min<size_t>(room, field.type == peers::field_type::u8 ? 1 : 4);
        const uint32_t mask = field.bits == 0 ? UINT32_MAX : ((1u << field.bits) - 1) << field.first_bit;
        uint32_t number = 0;
        std::memcpy(&number, &payload[field.offset], size);
        number = (number & ~mask) | value << field.first_bit;
        std::memcpy(&payload[field.offset], &number, size);
    }

    // Small numbers more often than not: those have names.
    std::vector<uint8_t> bytes(const peers::message_t& message, size_t size)
    {
        std::vector<uint8_t> payload(size);
        for (uint8_t& byte : payload)
            byte = static_cast<uint8_t>(random_() % 2 == 0 ? random_() % 12 : random_());
        if (message.first_byte >= 0 && size > 0) payload[0] = static_cast<uint8_t>(message.first_byte);
        return payload;
    }

    void copy(const tarn_tap_head_t& head, const kest_event_t& event)
    {
        std::vector<uint8_t> bytes(sizeof head + KEST_EVENT_HEAD_SIZE + event.msg_len);
        std::memcpy(bytes.data(), &head, sizeof head);
        std::memcpy(&bytes[sizeof head], &event, KEST_EVENT_HEAD_SIZE + event.msg_len);
        writer_.packet(head.boot_time_us, bytes);
    }

    peers::CaptureWriter& writer_;
    std::mt19937 random_{20};  // NOLINT(cert-msc32-c,cert-msc51-cpp)
    uint16_t seq_id_ = 0;
    uint64_t time_us_ = 1'000'000;
};

}  // namespace

int main(int argc, char** argv)
{
    const auto writer = argc == 2 ? peers::CaptureWriter::create(argv[1], {}) : nullptr;
    if (!writer) return 1;
    Traffic traffic(*writer);
    traffic.every_message();
    for (const bool reply : {false, true}) {
        traffic.of(0x44, 0x01, reply, HOST_FLIGHT_SERVICE, {1, 2, 3});
        traffic.of(0x44, 0x01, reply, HOST_FLIGHT_SERVICE, {});
    }
    return writer->finish({}) ? 0 : 1;
}
