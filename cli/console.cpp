#include "console.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "units.h"

namespace cli {
namespace {

constexpr int BAR_WIDTH = 24;

bool shows_colours()
{
    static const bool shows = [] {
        const char* terminal = std::getenv("TERM");
        return on_terminal() && std::getenv("NO_COLOR") == nullptr && terminal != nullptr &&
               std::string_view(terminal) != "dumb";
    }();
    return shows;
}

const char* code_of(style how)
{
    switch (how) {
        case style::bold:
            return "\033[1m";
        case style::good:
            return "\033[32m";
        case style::bad:
            return "\033[31m";
        case style::dim:
            return "\033[2m";
        default:
            return "";
    }
}

std::chrono::milliseconds interval()
{
    return std::chrono::milliseconds(on_terminal() ? 100 : 1000);
}

std::string bar(double part)
{
    const int full = static_cast<int>(part * BAR_WIDTH);
    std::string text;
    for (int i = 0; i < BAR_WIDTH; i++)
        text += i < full ? "█" : "░";
    return text;
}

}  // namespace

bool on_terminal()
{
    static const bool terminal = isatty(STDOUT_FILENO) != 0;
    return terminal;
}

std::string styled(style how, const std::string& text)
{
    if (how == style::plain || !shows_colours()) return text;
    return code_of(how) + text + "\033[0m";
}

ProgressBar::ProgressBar(std::string label, bool quiet)
    : label_(std::move(label)), quiet_(quiet), next_(std::chrono::steady_clock::now() + interval())
{
}

void ProgressBar::show(uint64_t bytes, uint64_t total, double seconds)
{
    const auto now = std::chrono::steady_clock::now();
    if (quiet_ || now < next_) return;
    next_ = now + interval();
    if (on_terminal()) {
        std::printf("\r\033[K%s", line(bytes, total, seconds).c_str());
    } else {
        std::printf("%s\n", line(bytes, total, seconds).c_str());
    }
    std::fflush(stdout);
    drawn_ = true;
}

void ProgressBar::clear()
{
    if (drawn_ && on_terminal()) std::printf("\r\033[K");
    std::fflush(stdout);
    drawn_ = false;
}

std::string ProgressBar::line(uint64_t bytes, uint64_t total, double seconds) const
{
    const double rate = seconds > 0 ? static_cast<double>(bytes) / seconds : 0;
    if (total == 0) return label_ + "  " + size_text(bytes) + "  " + rate_text(rate);
    const double part = ratio(bytes, total);
    char percent[16];
    std::snprintf(percent, sizeof percent, "%3.0f %%", part * 100);
    std::string text = label_ + "  " + (on_terminal() ? bar(part) + " " : "") + percent + "  " + size_text(bytes) +
                       " of " + size_text(total) + "  " + rate_text(rate);
    if (rate > 0 && bytes < total) text += "  " + duration_text(static_cast<double>(total - bytes) / rate) + " left";
    return text;
}

}  // namespace cli
