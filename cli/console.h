// What a terminal gets that a pipe does not: colours and a line that moves.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace cli {

enum class style { plain, bold, good, bad, dim };

// `text` in that style where standard output is a terminal that shows colours, else unchanged.
std::string styled(style how, const std::string& text);

// Standard output is a terminal.
bool on_terminal();

// Progress of a transfer: a bar that is redrawn on a terminal, a line now and then elsewhere, nothing when quiet.
class ProgressBar {
public:
    ProgressBar(std::string label, bool quiet);

    // `total` 0: not known. Draws at most ten times a second (a line elsewhere: once a second); what is done sooner is
    // not drawn.
    void show(uint64_t bytes, uint64_t total, double seconds);

    // Removes the bar from the terminal, so that the next text starts on a clean line.
    void clear();

private:
    std::string line(uint64_t bytes, uint64_t total, double seconds) const;

    const std::string label_;
    const bool quiet_;
    bool drawn_ = false;
    std::chrono::steady_clock::time_point next_;
};

}  // namespace cli
