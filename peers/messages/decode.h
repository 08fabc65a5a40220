// Records to names and values. Reads only what came: a payload of another length than its message has is shown as such.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "common/records.h"
#include "messages/message.h"

namespace peers {

// Numbers keep their type, so that a reader can tell 1 from 1.0; text holds texts, versions and hexadecimal bytes.
using value_t = std::variant<uint64_t, int64_t, double, std::string>;

struct decoded_field_t {
    std::string name;
    std::vector<value_t> values;  // several for an array
    bool array;
    std::string unit;
    std::string meaning;  // name of the value, if it has one
};

struct decoded_t {
    std::string name;  // of the message; "unknown" when there is none
    bool reply;
    std::string problem;                  // why there are no fields; empty when decoded
    std::vector<decoded_field_t> fields;  // when decoded
};

// `from` and `to` are the bus addresses of sender and receiver.
decoded_t decode_message(uint8_t set, uint8_t id, bool reply, uint16_t from, uint16_t to, bytes_view payload);

// One line for people: `block_number=3 block_size=980 bytes`. Long bytes are cut.
std::string fields_text(const decoded_t& message);

}  // namespace peers
