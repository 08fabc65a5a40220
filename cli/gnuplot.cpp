#include "gnuplot.h"

#include <cstdio>

namespace cli {

std::string gnuplot_quoted(const std::string& text)
{
    std::string quoted = "'";
    for (const char letter : text)
        quoted += letter == '\'' ? "''" : std::string(1, letter);
    return quoted + "'";
}

bool run_gnuplot(const std::string& commands, const std::string& file, failure_t& failure)
{
    // As a script, since it goes on after an error in what is typed.
    FILE* gnuplot = popen("gnuplot /dev/stdin >/dev/null 2>&1", "w");
    if (gnuplot != nullptr) std::fputs(commands.c_str(), gnuplot);
    if (gnuplot != nullptr && pclose(gnuplot) == 0) return true;
    failure = {exit_code::output, file + ": gnuplot did not draw it",
               "Is the folder there? Is gnuplot (apt-get install gnuplot-nox)?"};
    return false;
}

}  // namespace cli
