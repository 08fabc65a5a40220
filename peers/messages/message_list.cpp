#include <array>

#include "messages/message.h"

namespace peers {

std::span<const std::span<const message_t>> message_groups()
{
    static const std::array groups = {version_messages(), upgrade_messages(), motor_messages(), bag_messages(),
                                      tfr_messages()};
    return groups;
}

const message_t* find_message(uint8_t set, uint8_t id, message_kind kind, uint16_t server)
{
    for (const std::span<const message_t> group : message_groups()) {
        for (const message_t& message : group) {
            const bool same = message.set == set && message.id == id && message.kind == kind;
            if (same && (message.server == 0 || message.server == server)) return &message;
        }
    }
    return nullptr;
}

}  // namespace peers
