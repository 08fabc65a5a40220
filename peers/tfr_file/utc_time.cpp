#include "tfr_file/utc_time.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>

namespace peers {
namespace {

// Takes characters off the front of a text; stays failed once something was not there.
class Scanner {
public:
    explicit Scanner(std::string_view text) : text_(text) {}

    // Exactly that many digits, at most `max`.
    int number(size_t digits, int max)
    {
        int value = 0;
        const size_t found = std::min(text_.find_first_not_of("0123456789"), text_.size());
        if (found < digits) return fail();
        std::from_chars(text_.data(), text_.data() + digits, value);
        text_.remove_prefix(digits);
        return value <= max ? value : fail();
    }
    // One of `choices`; returns which.
    char one_of(std::string_view choices)
    {
        if (text_.empty() || choices.find(text_[0]) == std::string_view::npos) return static_cast<char>(fail());
        const char got = text_[0];
        text_.remove_prefix(1);
        return got;
    }
    void skip_fraction()
    {
        if (!text_.starts_with('.')) return;
        text_.remove_prefix(1);
        const size_t digits = std::min(text_.find_first_not_of("0123456789"), text_.size());
        if (digits == 0) fail();
        text_.remove_prefix(digits);
    }
    bool complete() const { return !failed_ && text_.empty(); }

private:
    int fail()
    {
        failed_ = true;
        return 0;
    }

    std::string_view text_;
    bool failed_ = false;
};

std::chrono::minutes offset_of(Scanner& scanner)
{
    const char sign = scanner.one_of("Zz+-");
    if (sign != '+' && sign != '-') return {};
    const std::chrono::hours hours(scanner.number(2, 23));
    scanner.one_of(":");
    const std::chrono::minutes offset = hours + std::chrono::minutes(scanner.number(2, 59));
    return sign == '+' ? offset : -offset;
}

std::chrono::year_month_day date_of(Scanner& scanner)
{
    const int year = scanner.number(4, 9999);
    scanner.one_of("-");
    const int month = scanner.number(2, 12);
    scanner.one_of("-");
    const int day = scanner.number(2, 31);
    return std::chrono::year(year) / month / day;
}

std::chrono::seconds time_of(Scanner& scanner)
{
    const std::chrono::hours hours(scanner.number(2, 23));
    scanner.one_of(":");
    const std::chrono::minutes minutes(scanner.number(2, 59));
    scanner.one_of(":");
    return hours + minutes + std::chrono::seconds(scanner.number(2, 59));
}

}  // namespace

std::string utc_text(uint32_t seconds)
{
    const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date = day;
    const std::chrono::hh_mm_ss clock(time - day);
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", int{date.year()}, unsigned{date.month()},
                  unsigned{date.day()}, static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()));
    return text;
}

std::optional<uint32_t> parse_utc(std::string_view text)
{
    Scanner scanner(text);
    const std::chrono::year_month_day date = date_of(scanner);
    scanner.one_of("Tt ");
    const std::chrono::seconds clock = time_of(scanner);
    scanner.skip_fraction();
    const std::chrono::minutes offset = offset_of(scanner);
    if (!scanner.complete() || !date.ok()) return std::nullopt;
    const auto time = std::chrono::sys_days(date) + clock - offset;
    const int64_t seconds = std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch()).count();
    if (seconds < 0 || seconds > UINT32_MAX) return std::nullopt;
    return static_cast<uint32_t>(seconds);
}

}  // namespace peers
