// How a ULog file describes its fields: "float[3] speed".
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/records.h"

namespace peers {

struct ulog_type_t {
    const char* name;
    size_t size;
    double (*number)(const uint8_t* bytes);
};

struct ulog_field_t {
    const ulog_type_t* type = nullptr;
    size_t count = 1;  // elements
    bool array = false;
    std::string name;
    size_t offset = 0;  // in its row

    size_t size() const { return type->size * count; }
    bool is_text() const { return array && std::string_view(type->name) == "char"; }
};

// A topic's rows.
struct ulog_layout_t {
    std::vector<ulog_field_t> fields;  // without the timestamp and padding
    size_t timestamp_at = 0;
    size_t size = 0;  // bytes of a row, without padding at its end: writers may leave that out
};

// None with `reason` filled when the text is no field of a plain type.
std::optional<ulog_field_t> read_field(std::string_view text, std::string& reason);

// From what a format says behind its colon. None with `reason` filled.
std::optional<ulog_layout_t> read_layout(std::string_view fields, std::string& reason);

}  // namespace peers
