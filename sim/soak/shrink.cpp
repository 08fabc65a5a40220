#include "soak/shrink.h"

#include <algorithm>

namespace sim {
namespace {

std::vector<size_t> without(const std::vector<size_t>& all, size_t begin, size_t count)
{
    std::vector<size_t> rest(all.begin(), all.begin() + static_cast<ptrdiff_t>(begin));
    const size_t end = std::min(begin + count, all.size());
    rest.insert(rest.end(), all.begin() + static_cast<ptrdiff_t>(end), all.end());
    return rest;
}

}  // namespace

std::vector<size_t> fewest_that_fail(std::vector<size_t> all,
                                     const std::function<bool(const std::vector<size_t>&)>& fails)
{
    for (size_t piece = std::max<size_t>(all.size() / 2, 1); piece > 0 && !all.empty();) {
        bool shorter = false;
        for (size_t begin = 0; begin < all.size();) {
            const std::vector<size_t> rest = without(all, begin, piece);
            if (!fails(rest)) {
                begin += piece;
                continue;
            }
            all = rest;
            shorter = true;
        }
        if (!shorter) piece /= 2;
    }
    return all;
}

}  // namespace sim
