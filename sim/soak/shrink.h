// Finds the fewest of a failing run's actions that still make it fail.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

namespace sim {

// `fails` flies with those actions only (numbers, rising) and says whether the same thing breaks. `all` fails. Tries to
// leave out ever smaller pieces until no single action can be left out.
std::vector<size_t> fewest_that_fail(std::vector<size_t> all,
                                     const std::function<bool(const std::vector<size_t>&)>& fails);

}  // namespace sim
