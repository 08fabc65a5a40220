// Pages on paper and as pictures, by Chromium without a window.
#pragma once

#include <string>

#include "failure.h"

namespace cli {

enum class print_kind { pdf, png };

// Prints the page in that file. False with `failure` filled.
bool print_page(const std::string& page, print_kind kind, const std::string& file, failure_t& failure);

}  // namespace cli
