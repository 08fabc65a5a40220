#include "motion_list/near_word.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <string>
#include <vector>

namespace peers {
namespace {

std::string lower(std::string_view word)
{
    std::string text(word);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

}  // namespace

size_t letters_apart(std::string_view one, std::string_view other)
{
    std::vector<size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < one.size(); i++) {
        size_t diagonal = row[0]++;
        for (size_t j = 0; j < other.size(); j++) {
            const size_t replaced = diagonal + (one[i] == other[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

std::string_view near_word(std::string_view written, std::span<const std::string_view> words)
{
    constexpr size_t LONGEST = 64;  // of any known word and more
    if (written.size() > LONGEST) return {};
    std::string_view best;
    size_t least = std::min<size_t>(2, (written.size() + 1) / 3) + 1;
    for (const std::string_view word : words) {
        const size_t apart = letters_apart(lower(written), lower(word));
        if (apart < least) best = word;
        least = std::min(least, apart);
    }
    return best;
}

}  // namespace peers
