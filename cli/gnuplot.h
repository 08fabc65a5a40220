// Pictures, drawn by gnuplot.
#pragma once

#include <string>

#include "failure.h"

namespace cli {

// Text between single quotes, as gnuplot's commands take it.
std::string gnuplot_quoted(const std::string& text);

// Runs the commands, which name the output themselves. False with `failure` filled; `file` is what it names.
bool run_gnuplot(const std::string& commands, const std::string& file, failure_t& failure);

}  // namespace cli
