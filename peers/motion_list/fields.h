// Keys of a list's objects as tables, and the rules that hold for all of them: known, written once, of the kind that is
// wanted, and read by the service as the number that is written.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "motion_list/finding.h"

namespace peers {

enum class field_kind {
    number,         // single precision
    small,          // whole, low 8 bits
    entry,          // whole, from 1, low 16 bits
    wide,           // whole, 32 bits
    whole_seconds,  // cut at the decimal point, low 8 bits
    tenths,         // single precision, travels in tenths, 16 bits
    sent_seconds,   // single precision, travels in whole seconds, 8 bits
    flag,           // set by the literal false
    text,
    list,
};

struct field_t {
    const char* key;
    field_kind kind;
    std::optional<severity> missing = std::nullopt;  // none: it may be left out
    const char* without = "";                        // what happens without it
    const char* wrong = nullptr;                     // what happens with a value of another kind; null: the same
};

// All members against the table, and the table against the members. Keys that are in no table are told, with the known
// one that is near.
void check_fields(const scope_t& scope, std::span<const field_t> fields);

// What the service takes from that number, as far as the kind decides it.
double taken_number(field_kind kind, double written);

// The last member with that key, or null when it is missing or no number.
const list_node_t* last_number(const list_node_t& object, std::string_view key);

// The number that counts: the last one of doubled keys that is one. `fallback` without any.
double number_of(const list_node_t& object, std::string_view key, double fallback = 0);

bool flag_set(const list_node_t& object, std::string_view key);

// "0.5", "120", as people write numbers.
std::string number_words(double number);

}  // namespace peers
