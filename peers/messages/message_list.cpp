#include <array>

#include "messages/message.h"

namespace peers {
namespace {

bool begins_like(const message_t& message, std::span<const uint8_t> payload)
{
    return message.first_byte < 0 || (!payload.empty() && payload[0] == message.first_byte);
}

}  // namespace

std::span<const std::span<const message_t>> message_groups()
{
    static const std::array groups = {version_messages(), upgrade_messages(), motor_messages(),
                                      bag_messages(),     tfr_messages(),     afqt_messages()};
    return groups;
}

bool is_open_ended(const message_t& message)
{
    if (message.fields.empty()) return false;
    const field_type last = message.fields.back().type;
    return last == field_type::rest || last == field_type::rest_u32;
}

const message_t* find_message(uint8_t set, uint8_t id, message_kind kind, uint16_t server,
                              std::span<const uint8_t> payload)
{
    const message_t* found = nullptr;
    for (const std::span<const message_t> group : message_groups()) {
        for (const message_t& message : group) {
            const bool same = message.set == set && message.id == id && message.kind == kind;
            if (!same || (message.server != 0 && message.server != server)) continue;
            if (!begins_like(message, payload)) continue;
            if (message.size == payload.size()) return &message;
            if (found == nullptr) found = &message;
        }
    }
    return found;
}

}  // namespace peers
