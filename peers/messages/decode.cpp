#include "messages/decode.h"

#include <algorithm>
#include <cstdio>

#include "common/digest.h"
#include "flight_v1_wire.h"

namespace peers {
namespace {

constexpr size_t SHOWN_BYTES = 16;  // of a long field, in a line for people

template <class T>
T read(bytes_view payload, size_t offset)
{
    T value = {};
    read_record(payload, value, offset);
    return value;
}

uint64_t part_of(uint64_t number, const field_t& field)
{
    if (field.bits == 0) return number;
    return (number >> field.first_bit) & ((uint64_t{1} << field.bits) - 1);
}

std::string version_at(bytes_view payload, size_t offset)
{
    const auto number = read<uint32_t>(payload, offset);
    return std::to_string(number >> 24) + "." + std::to_string(number >> 16 & 255) + "." +
           std::to_string(number >> 8 & 255) + "." + std::to_string(number & 255);
}

// Zero-padded text; what is not printable shows as '?', so that a terminal is safe from it.
std::string text_at(bytes_view payload, size_t offset, size_t size)
{
    std::string text;
    for (size_t i = 0; i < size && payload[offset + i] != 0; i++) {
        const uint8_t byte = payload[offset + i];
        text += byte >= 0x20 && byte < 0x7f ? static_cast<char>(byte) : '?';
    }
    return text;
}

value_t value_at(const field_t& field, bytes_view payload, size_t offset)
{
    switch (field.type) {
        case field_type::u8:
            return part_of(read<uint8_t>(payload, offset), field);
        case field_type::u16:
            return part_of(read<uint16_t>(payload, offset), field);
        case field_type::u32:
        case field_type::rest_u32:
            return part_of(read<uint32_t>(payload, offset), field);
        case field_type::i8:
            return int64_t{read<int8_t>(payload, offset)};
        case field_type::i32:
            return int64_t{read<int32_t>(payload, offset)};
        case field_type::f32:
            return double{read<float>(payload, offset)};
        case field_type::f64:
            return read<double>(payload, offset);
        case field_type::version:
            return version_at(payload, offset);
        case field_type::text:
            return text_at(payload, offset, field.count);
        case field_type::bytes:
            return hex_text(payload.subspan(offset, field.count));
        case field_type::rest:
            return hex_text(payload.subspan(offset));
    }
    return uint64_t{0};
}

bool is_one_value(field_type type)
{
    return type == field_type::text || type == field_type::bytes || type == field_type::rest;
}

std::string meaning_of(const field_t& field, const value_t& value)
{
    const uint64_t* number = std::get_if<uint64_t>(&value);
    if (field.names == nullptr || number == nullptr) return {};
    for (const value_name_t* row = field.names; row->name != nullptr; row++) {
        if (row->value == *number) return row->name;
    }
    return {};
}

decoded_field_t decode_field(const field_t& field, bytes_view payload)
{
    decoded_field_t decoded = {field.name, {}, false, field.unit, {}};
    const size_t size = element_size(field.type);
    size_t count = is_one_value(field.type) ? 1 : field.count;
    if (field.type == field_type::rest_u32) count = (payload.size() - field.offset) / size;
    decoded.array = count > 1 || field.type == field_type::rest_u32;
    for (size_t i = 0; i < count; i++)
        decoded.values.push_back(value_at(field, payload, field.offset + i * size));
    if (count == 1) decoded.meaning = meaning_of(field, decoded.values[0]);
    return decoded;
}

std::string length_problem(const message_t& message, size_t length)
{
    const bool open_end = is_open_ended(message);
    // A message without fields has a payload that nobody reads.
    if (message.fields.empty() || length == message.size || (open_end && length > message.size)) return {};
    return std::string(length < message.size ? "short: " : "long: ") + std::to_string(length) + " bytes, " +
           (open_end ? "at least " : "") + std::to_string(message.size) + " expected";
}

std::string number_text(const value_t& value)
{
    if (const auto* number = std::get_if<uint64_t>(&value)) return std::to_string(*number);
    if (const auto* number = std::get_if<int64_t>(&value)) return std::to_string(*number);
    if (const auto* text = std::get_if<std::string>(&value)) {
        if (text->size() <= SHOWN_BYTES * 2) return text->empty() ? "\"\"" : *text;
        return text->substr(0, SHOWN_BYTES * 2) + "… (" + std::to_string(text->size() / 2) + " bytes)";
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", std::get<double>(value));
    return text;
}

std::string field_text(const decoded_field_t& field)
{
    std::string text = field.name + "=";
    if (field.array) text += "[";
    for (size_t i = 0; i < field.values.size(); i++)
        text += (i > 0 ? " " : "") + number_text(field.values[i]);
    if (field.array) text += "]";
    if (!field.unit.empty()) text += " " + field.unit;
    if (!field.meaning.empty()) text += " (" + field.meaning + ")";
    return text;
}

}  // namespace

decoded_t decode_message(uint8_t set, uint8_t id, bool reply, uint16_t from, uint16_t to, bytes_view payload)
{
    const message_kind kind = reply ? message_kind::reply : message_kind::request;
    const message_t* message = find_message(set, id, kind, reply ? from : to, payload);
    decoded_t decoded = {message != nullptr ? message->name : "unknown", reply, {}, {}};
    if (reply && payload.size() == 1 && payload[0] == REPLY_UNKNOWN_COMMAND) {
        decoded.problem = "the receiver does not know this command";
        return decoded;
    }
    if (message == nullptr) {
        decoded.problem = "no description of set and id";
        return decoded;
    }
    decoded.problem = length_problem(*message, payload.size());
    if (!decoded.problem.empty()) return decoded;
    for (const field_t& field : message->fields)
        decoded.fields.push_back(decode_field(field, payload));
    return decoded;
}

std::string fields_text(const decoded_t& message)
{
    std::string text;
    for (const decoded_field_t& field : message.fields)
        text += (text.empty() ? "" : "  ") + field_text(field);
    return text;
}

}  // namespace peers
