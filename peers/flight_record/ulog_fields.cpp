#include "flight_record/ulog_fields.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace peers {
namespace {

// More does not fit the length field of a message.
constexpr size_t MAX_SIZE = UINT16_MAX;

template <class Number>
double number(const uint8_t* bytes)
{
    Number value;
    std::memcpy(&value, bytes, sizeof value);
    return static_cast<double>(value);
}

constexpr ulog_type_t TYPES[] = {
    {"int8_t", 1, number<int8_t>},     {"uint8_t", 1, number<uint8_t>},   {"int16_t", 2, number<int16_t>},
    {"uint16_t", 2, number<uint16_t>}, {"int32_t", 4, number<int32_t>},   {"uint32_t", 4, number<uint32_t>},
    {"int64_t", 8, number<int64_t>},   {"uint64_t", 8, number<uint64_t>}, {"float", 4, number<float>},
    {"double", 8, number<double>},     {"bool", 1, number<uint8_t>},      {"char", 1, number<uint8_t>},
};

std::string quoted(std::string_view text)
{
    return "\"" + std::string(text.substr(0, 80)) + "\"";
}

// "[3]" behind the type; 0 when it is no length up to what a message holds.
size_t length_of(std::string_view brackets)
{
    if (brackets.size() < 3) return 0;
    size_t length = 0;
    const char* end = brackets.data() + brackets.size() - 1;
    const auto [stop, error] = std::from_chars(brackets.data() + 1, end, length);
    const bool whole = error == std::errc() && stop == end && *end == ']';
    return whole && length <= MAX_SIZE ? length : 0;
}

// Places the field behind those before it. False when the row gets too long or its clock is no clock.
bool place(ulog_layout_t& layout, ulog_field_t field, size_t& end, bool& clock, std::string& reason)
{
    field.offset = end;
    end += field.size();
    if (end > MAX_SIZE) {
        reason = "its fields do not fit a message";
        return false;
    }
    if (field.name.starts_with("_padding")) return true;
    layout.size = end;
    if (field.name != "timestamp") {
        layout.fields.push_back(std::move(field));
        return true;
    }
    clock = std::string_view(field.type->name) == "uint64_t" && !field.array;
    layout.timestamp_at = field.offset;
    return true;
}

}  // namespace

std::optional<ulog_field_t> read_field(std::string_view text, std::string& reason)
{
    const size_t space = text.find(' ');
    if (space == std::string_view::npos || space + 1 == text.size()) {
        reason = quoted(text) + " is no type with a name";
        return std::nullopt;
    }
    const std::string_view type = text.substr(0, space);
    const size_t bracket = std::min(type.find('['), type.size());
    const auto found = std::find_if(std::begin(TYPES), std::end(TYPES),
                                    [&](const ulog_type_t& one) { return type.substr(0, bracket) == one.name; });
    ulog_field_t field;
    field.array = bracket < type.size();
    field.count = field.array ? length_of(type.substr(bracket)) : 1;
    field.name = text.substr(space + 1);
    // An empty text is as long as it says.
    const bool empty_text = type == "char[0]";
    if (found == std::end(TYPES) || (field.count == 0 && !empty_text)) {
        reason = quoted(text) + " is of no plain type";
        return std::nullopt;
    }
    field.type = found;
    return field;
}

std::optional<ulog_layout_t> read_layout(std::string_view fields, std::string& reason)
{
    ulog_layout_t layout;
    size_t end = 0;
    bool clock = false;
    while (!fields.empty()) {
        const size_t length = std::min(fields.find(';'), fields.size());
        std::optional<ulog_field_t> field = read_field(fields.substr(0, length), reason);
        if (!field || !place(layout, std::move(*field), end, clock, reason)) return std::nullopt;
        fields.remove_prefix(std::min(length + 1, fields.size()));
    }
    if (clock) return layout;
    reason = "it has no \"uint64_t timestamp\"";
    return std::nullopt;
}

}  // namespace peers
