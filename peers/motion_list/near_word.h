// Which known word a misspelt one is meant to be.
#pragma once

#include <span>
#include <string_view>

namespace peers {

// Changes of one letter each (put in, left out, replaced) from one to the other.
size_t letters_apart(std::string_view one, std::string_view other);

// The nearest of `words`; empty when none is near. Upper and lower case count as the same here.
std::string_view near_word(std::string_view written, std::span<const std::string_view> words);

}  // namespace peers
