// A motion list's text as a tree in which every key and value knows where it stands. Doubled keys are kept, in file
// order, since the service and other readers choose differently among them.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace peers {

// Both from 1; the column counts bytes.
struct text_place_t {
    size_t line = 1;
    size_t column = 1;
};

enum class node_kind { null, no, yes, number, text, list, object };  // `no` is the literal false

struct list_node_t {
    std::string key = {};  // of an object's member
    text_place_t key_place = {};
    text_place_t place = {};
    node_kind kind = node_kind::null;
    double number = 0;
    std::string text = {};  // a text's content; of a number or a literal what stands there
    std::vector<list_node_t> children = {};

    const list_node_t* first(std::string_view wanted) const;  // member with that key, or null
    const list_node_t* last(std::string_view wanted) const;
    bool is_number() const { return kind == node_kind::number; }

    // What stands there, short enough for a message.
    std::string shown() const;
};

// Where reading ended, and why.
struct text_problem_t {
    text_place_t place;
    std::string reason;
};

struct list_text_t {
    list_node_t root;
    std::optional<text_problem_t> problem;  // with one, `root` holds what stands before it
};

// The service reads no longer text and no deeper nesting.
inline constexpr size_t LIST_BYTES = size_t{4} * 1024 * 1024;
inline constexpr size_t LIST_DEPTH = 1000;
inline constexpr size_t NUMBER_LETTERS = 63;

list_text_t read_list_text(std::string_view text);

}  // namespace peers
